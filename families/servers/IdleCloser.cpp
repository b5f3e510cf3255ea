// SPDX-License-Identifier: MIT
#include "families/servers/IdleCloser.h"

#include "families/servers/PerProcess.h"
#include "families/servers/StartThread.h"

#include <algorithm>
#include <system_error>

namespace kwlookup {

const std::shared_ptr<IdleCloser>& IdleCloser::Instance() {
    static auto& instance =
        *new PerProcess<IdleCloser>([] { return std::make_shared<IdleCloser>(); });
    return instance.Get();
}

void IdleCloser::Watch(const std::shared_ptr<Keeper>& keeper, Deadline::Clock::time_point at) {
    const std::lock_guard<std::mutex> lock(m_lock);
    m_watched.push_back({keeper, at});
    if (m_runs) {
        m_changed.notify_one();
        return;
    }
    try {
        StartThread([self = shared_from_this()] { self->Run(); });
        m_runs = true;
    } catch (const std::system_error&) {
        m_watched.pop_back();
    }
}

void IdleCloser::Run() {
    std::unique_lock<std::mutex> lock(m_lock);
    while (!m_watched.empty()) {
        const auto first =
            std::min_element(m_watched.begin(), m_watched.end(),
                             [](const Watched& a, const Watched& b) { return a.at < b.at; });
        if (first->at > Deadline::Clock::now()) {
            m_changed.wait_until(lock, first->at);
            continue;
        }
        std::list<Watched> due;
        due.splice(due.end(), m_watched, first);
        lock.unlock();
        std::optional<Deadline::Clock::time_point> next;
        if (const std::shared_ptr<Keeper> keeper = due.front().keeper.lock())
            next = keeper->CloseIdle();
        lock.lock();
        if (next) {
            due.front().at = *next;
            m_watched.splice(m_watched.end(), due);
        }
    }
    m_runs = false;
}

} // namespace kwlookup
