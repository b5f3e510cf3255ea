// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <ctime>
#include <string>

namespace kwlookup {

/// The time that one search may take, from now on.
///
/// It is measured in ticks of the system, of 1 to 10 ms, which costs some 5 ns a question. It is
/// never over early, and may be over two ticks late.
///
/// Threads: one.
class SearchTime {
public:
    explicit SearchTime(int milliseconds)
        : m_milliseconds(milliseconds), m_end(Now() + milliseconds * NS_PER_MS + Tick()) {}

    bool IsOver() const { return Now() > m_end; }

    /// What is wrong when it is over.
    std::string Reason() const {
        return "search time exceeded; SearchTime is " + std::to_string(m_milliseconds) + " ms";
    }

private:
    static constexpr std::int64_t NS_PER_MS = 1000000;

    static std::int64_t Nanoseconds(const std::timespec& time) {
        return time.tv_sec * 1000 * NS_PER_MS + time.tv_nsec;
    }

    static std::int64_t Now() {
        std::timespec now;
        ::clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
        return Nanoseconds(now);
    }

    static std::int64_t Tick() {
        static const std::int64_t tick = [] {
            std::timespec resolution;
            ::clock_getres(CLOCK_MONOTONIC_COARSE, &resolution);
            return Nanoseconds(resolution);
        }();
        return tick;
    }

    int m_milliseconds;
    std::int64_t m_end;
};

} // namespace kwlookup
