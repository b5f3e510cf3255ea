// SPDX-License-Identifier: MIT
#include "families/servers/ServerReport.h"

#include "families/servers/PerProcess.h"
#include "lookup/PluginFigures.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <map>
#include <mutex>
#include <optional>
#include <utility>

namespace kwlookup {
namespace {

using Time = Deadline::Clock::time_point;

constexpr std::array<const char*, 4> ORIGINS = {"server", "cache", "joined", "stale"};
constexpr const char* SECTION_PREFIX = "lookup_";

std::array<std::atomic<std::uint64_t>, ORIGINS.size()> answers;
std::atomic<const char*> type{nullptr};

} // namespace

/// The sets of this process.
struct ServerReport::Known {
    std::mutex lock;
    std::list<Set> sets;

    static const std::shared_ptr<Known>& Instance() {
        // Never freed, so that lookups may be destroyed at any time.
        static auto& known = *new PerProcess<Known>([] { return std::make_shared<Known>(); });
        return known.Get();
    }

    static void Report(std::vector<PluginFigures::Figure>& figures);
};

ServerReport::ServerReport(ServerHealth& health, std::vector<std::string> names)
    : m_known(Known::Instance()) {
    const std::lock_guard<std::mutex> lock(m_known->lock);
    m_set = m_known->sets.insert(m_known->sets.end(),
                                 {health, std::move(names), Deadline::Clock::now()});
}

ServerReport::~ServerReport() {
    const std::lock_guard<std::mutex> lock(m_known->lock);
    m_known->sets.erase(m_set);
}

void ServerReport::Known::Report(std::vector<PluginFigures::Figure>& figures) {
    struct State {
        std::optional<Time> failed; ///< the last failure
        std::optional<Time> good;   ///< when the last set was made that has not failed
    };
    std::map<std::string, State> servers;
    {
        Known& known = *Instance();
        const std::lock_guard<std::mutex> guard(known.lock);
        for (const Set& set : known.sets)
            for (std::size_t i = 0; i < set.names.size(); ++i) {
                State& state = servers[set.names[i]];
                const std::optional<Time> failure = set.health.GetFailure(i);
                std::optional<Time>& last = failure ? state.failed : state.good;
                last = std::max(last, std::optional<Time>(failure.value_or(set.made)));
            }
    }
    const std::string plugin = type.load() + std::strlen(SECTION_PREFIX);
    for (const auto& [name, state] : servers)
        figures.push_back(
            {plugin, "server_up", name, !state.failed || state.good > state.failed ? 1U : 0U});
    for (std::size_t i = 0; i < ORIGINS.size(); ++i)
        figures.push_back({plugin, "answers", ORIGINS[i], answers[i].load()});
}

void ServerReport::Begin(const char* section) {
    if (!type.exchange(section))
        PluginFigures::Register(&Known::Report);
}

void ServerReport::Count(Origin origin) noexcept {
    answers[static_cast<std::size_t>(origin)].fetch_add(1, std::memory_order_relaxed);
}

} // namespace kwlookup
