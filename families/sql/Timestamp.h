// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace kwlookup {

/// Convert `text` to "YYYY-MM-DD HH:MM:SS[.FRACTION]" in UTC. `text` is "now" or
///
///     YYYY-MM-DD[ HH:MM[:SS[.FRACTION]][ZONE]]
///
/// A blank or a 'T' separates date and time. FRACTION has 1 to 6 digits. ZONE is "Z" for UTC, the
/// default, or the distance to UTC, "+HH[[:]MM]" or "-HH[[:]MM]". False for another text, for a day
/// that does not exist, and for a time that is not in the years 1 to 9999 of UTC.
bool ReadTimestamp(const std::string& text, std::string& utc);

} // namespace kwlookup
