// SPDX-License-Identifier: MIT
#pragma once

#include "host/KwExport.h"

#include <cstdint>
#include <string>

namespace kwlookup {

/// The time limit of one search.
///
///     const kwlookup::SearchTime time(GetConfig().GetSearchTime());
///     while (ReadNext())
///         if (time.IsOver())
///             throw std::runtime_error(time.GetReason());
///
/// It counts ticks of the system, of 1 to 10 ms. The limit never ends early, and at most two ticks
/// late.
///
/// Threads: one.
class KW_EXPORT SearchTime {
public:
    /// Begins the time of a search.
    explicit SearchTime(int milliseconds);

    /// Returns true when the time is over. Costs about 5 ns.
    bool IsOver() const;

    /// Returns the message for a search that took too long.
    std::string GetReason() const;

private:
    int m_milliseconds;
    std::int64_t m_end;
};

} // namespace kwlookup
