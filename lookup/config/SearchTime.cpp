// SPDX-License-Identifier: MIT
#include "lookup/config/SearchTime.h"

#include "text/Platform.h"

namespace kwlookup {

constexpr std::int64_t NS_PER_MS = 1000000;

SearchTime::SearchTime(int milliseconds)
    : m_milliseconds(milliseconds),
      m_end(CoarseNanoseconds() + milliseconds * NS_PER_MS + CoarseTick()) {}

bool SearchTime::IsOver() const {
    return CoarseNanoseconds() > m_end;
}

std::string SearchTime::GetReason() const {
    return "search time exceeded; SearchTime is " + std::to_string(m_milliseconds) + " ms";
}

} // namespace kwlookup
