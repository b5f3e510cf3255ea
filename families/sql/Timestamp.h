// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace kwlookup {

/// Makes "YYYY-MM-DD HH:MM:SS[.FRACTION]" in UTC of `text`, which is "now" or
///
///     YYYY-MM-DD[ HH:MM[:SS[.FRACTION]][ZONE]]
///
/// with a blank or a 'T' before the time, a FRACTION of 1 to 6 digits, and a ZONE of "Z" or the
/// distance to UTC, "+HH[[:]MM]" or "-HH[[:]MM]", without which it is UTC. False for anything else,
/// and for what is in no calendar or, in UTC, not in the years 1 to 9999.
bool ReadTimestamp(const std::string& text, std::string& utc);

} // namespace kwlookup
