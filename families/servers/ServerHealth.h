// SPDX-License-Identifier: MIT
#pragma once

#include "families/servers/Deadline.h"

#include <atomic>
#include <cstddef>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace kwlookup {

/// Decides in which order to try servers, by their recent failures.
///
/// A server that failed is not tried during the retry interval; then one search tries it. When all
/// have failed, the set is down: one search per retry interval tries them, the oldest failure
/// first, and all others fail at once.
///
/// Threads: any.
class ServerHealth {
public:
    ServerHealth(std::size_t servers, bool random, std::chrono::milliseconds retry_interval);

    /// The numbers of all servers in the order in which to try them: first those that may work, in
    /// the order of the list or at random, then those that failed, the oldest failure first. Throws
    /// ServerFault with the last reasons while the set is down.
    std::vector<std::size_t> GetOrder();

    void Worked(std::size_t server);

    /// `reason` names the server.
    void Failed(std::size_t server, const std::string& reason);

    /// When the server failed, unless it has worked since.
    std::optional<Deadline::Clock::time_point> GetFailure(std::size_t server);

private:
    struct State {
        std::atomic<bool> failed{false}; ///< written under the lock
        Deadline::Clock::time_point failed_at;
        Deadline::Clock::time_point retry_at; ///< when a search may try it again
        std::string reason;
    };

    bool AllFailed() const;

    const bool m_random;
    const std::chrono::milliseconds m_retry_interval;
    std::mutex m_lock;
    std::vector<State> m_states;
    std::atomic<std::size_t> m_failed{0};   ///< how many; written under the lock
    Deadline::Clock::time_point m_retry_at; ///< when a search may try the set, while it is down
};

} // namespace kwlookup
