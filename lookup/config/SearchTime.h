// SPDX-License-Identifier: MIT
#pragma once

#include "host/KwExport.h"

#include <cstdint>
#include <string>

namespace kwlookup {

/// The time that one search may take, from now on.
///
/// It is measured in ticks of the system, of 1 to 10 ms, which costs some 5 ns a question. It is
/// never over early, and may be over two ticks late.
///
/// Threads: one.
class KW_EXPORT SearchTime {
public:
    /// Of a search that begins now.
    explicit SearchTime(int milliseconds);

    /// True when the time is over.
    bool IsOver() const;

    /// What is wrong when it is over.
    std::string GetReason() const;

private:
    int m_milliseconds;
    std::int64_t m_end;
};

} // namespace kwlookup
