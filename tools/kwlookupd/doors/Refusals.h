// SPDX-License-Identifier: MIT
#pragma once

#include "tools/kwlookupd/status/LogLimit.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

namespace kwlookup {

/// Counts and logs the requests at a door that cannot be answered as they are. Threads: any.
class Refusals {
public:
    enum Reason {
        Malformed,
        Unsendable, ///< the result is too long, or no answer in the protocol
        UnknownList,
        WrongHost,
        WrongToken
    };
    /// The names of the reasons, for monitoring.
    static constexpr std::array<const char*, 5> NAMES{"malformed", "unsendable", "unknown_list",
                                                      "wrong_host", "wrong_token"};

    /// Counts a request at `door`. Logs what `describe` returns at once, then once a minute for
    /// each reason, with the number of lines that were left out.
    void Count(Reason reason, const std::string& door, const std::function<std::string()>& describe,
               LogLimit::Clock::time_point now = LogLimit::Clock::now());

    std::uint64_t GetCount(std::size_t reason) const { return m_counts[reason].load(); }

private:
    std::array<std::atomic<std::uint64_t>, NAMES.size()> m_counts{};
    std::array<LogLimit, NAMES.size()> m_limits;
};

} // namespace kwlookup
