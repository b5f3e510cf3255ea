// SPDX-License-Identifier: MIT
#include "families/servers/ServerHealth.h"

#include "families/servers/ServerFault.h"

#include <algorithm>
#include <numeric>
#include <random>

namespace kwlookup {
namespace {

std::minstd_rand& Random() {
    static thread_local std::minstd_rand random(std::random_device{}());
    return random;
}

} // namespace

ServerHealth::ServerHealth(std::size_t servers, bool random,
                           std::chrono::milliseconds retry_interval)
    : m_random(random), m_retry_interval(retry_interval), m_states(servers) {}

bool ServerHealth::AllFailed() const {
    return m_failed == m_states.size();
}

std::vector<std::size_t> ServerHealth::GetOrder() {
    if (m_failed == 0 && !m_random) {
        std::vector<std::size_t> listed(m_states.size());
        std::iota(listed.begin(), listed.end(), std::size_t(0));
        return listed;
    }
    const auto now = Deadline::Clock::now();
    const std::lock_guard<std::mutex> lock(m_lock);
    if (AllFailed()) {
        if (now < m_retry_at) {
            std::string reasons;
            for (const State& state : m_states)
                reasons += (reasons.empty() ? "" : "; ") + state.reason;
            throw ServerFault(reasons);
        }
        m_retry_at = now + m_retry_interval;
    }
    std::vector<std::size_t> order;
    std::vector<std::size_t> failed;
    for (std::size_t i = 0; i < m_states.size(); ++i) {
        State& state = m_states[i];
        const bool due = state.failed && !AllFailed() && now >= state.retry_at;
        if (due)
            state.retry_at = now + m_retry_interval;
        (due || !state.failed ? order : failed).push_back(i);
    }
    if (m_random)
        std::shuffle(order.begin(), order.end(), Random());
    std::sort(failed.begin(), failed.end(), [this](std::size_t a, std::size_t b) {
        return m_states[a].failed_at < m_states[b].failed_at;
    });
    order.insert(order.end(), failed.begin(), failed.end());
    return order;
}

void ServerHealth::Worked(std::size_t server) {
    if (!m_states[server].failed)
        return;
    const std::lock_guard<std::mutex> lock(m_lock);
    State& state = m_states[server];
    m_failed -= state.failed;
    state.failed = false;
}

void ServerHealth::Failed(std::size_t server, const std::string& reason) {
    const auto now = Deadline::Clock::now();
    const std::lock_guard<std::mutex> lock(m_lock);
    State& state = m_states[server];
    state.reason = reason;
    m_failed += !state.failed;
    state.failed = true;
    state.failed_at = now;
    state.retry_at = m_retry_at = now + m_retry_interval;
}

std::optional<Deadline::Clock::time_point> ServerHealth::GetFailure(std::size_t server) {
    const std::lock_guard<std::mutex> lock(m_lock);
    const State& state = m_states[server];
    if (!state.failed)
        return std::nullopt;
    return state.failed_at;
}

} // namespace kwlookup
