// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

namespace kwlookup {

/// Limits the log lines about one thing that may go wrong with each question: the first is written,
/// then one a minute, with the number of those left out.
///
/// Threads: any.
class LogLimit {
public:
    using Clock = std::chrono::steady_clock;

    /// Counts an event. Returns how many were left out since the last line, if a line is to be
    /// written now.
    std::optional<std::uint64_t> Count(Clock::time_point now = Clock::now()) {
        const std::lock_guard<std::mutex> guard(m_lock);
        if (m_next && now < *m_next) {
            ++m_left_out;
            return std::nullopt;
        }
        m_next = now + INTERVAL;
        return std::exchange(m_left_out, 0);
    }

private:
    /// Often enough to be seen, but not so often as to fill the log.
    static constexpr std::chrono::minutes INTERVAL{1};

    std::mutex m_lock;
    std::optional<Clock::time_point> m_next; ///< nothing before the first
    std::uint64_t m_left_out = 0;
};

/// Returns the end of a line that stands for those that were left out, too.
inline std::string AndOthers(std::uint64_t left_out) {
    return left_out == 0 ? std::string()
                         : " (and " + std::to_string(left_out) + " more since the last such line)";
}

} // namespace kwlookup
