// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <chrono>

namespace kwlookup {

/// The point in time at which an operation gives up, on a clock that is never set.
///
/// Threads: any.
class Deadline {
public:
    using Clock = std::chrono::steady_clock;

    explicit Deadline(Clock::time_point at) : m_at(at) {}
    explicit Deadline(std::chrono::milliseconds time) : m_at(Clock::now() + time) {}

    Clock::time_point GetTime() const { return m_at; }
    bool IsOver() const { return Clock::now() >= m_at; }

    /// The time left, rounded up so that poll(2) does not wake too early; 0 if it is over.
    int GetMsLeft() const {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(m_at - Clock::now());
        return static_cast<int>(std::max<std::chrono::milliseconds::rep>(left.count(), 0));
    }

    /// `time` from now, but not later than this deadline.
    Deadline Within(std::chrono::milliseconds time) const {
        return Deadline(std::min(m_at, Clock::now() + time));
    }

private:
    Clock::time_point m_at;
};

} // namespace kwlookup
