// SPDX-License-Identifier: MIT
#include "tools/kwlookupd/doors/Refusals.h"

#include "tools/lists/Report.h"

namespace kwlookup {

void Refusals::Count(Reason reason, const std::string& door,
                     const std::function<std::string()>& describe,
                     LogLimit::Clock::time_point now) {
    ++m_counts[reason];
    if (const auto left_out = m_limits[reason].Count(now))
        ReportWarning(LogClass("kwlookupd"),
                      "door " + door + ": " + describe() + AndOthers(*left_out));
}

} // namespace kwlookup
