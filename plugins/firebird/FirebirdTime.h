// SPDX-License-Identifier: MIT
#pragma once

#include <ibase.h>
#include <string>

namespace kwlookup {

/// "YYYY-MM-DD".
std::string DateText(ISC_DATE date);

/// "HH:MM:SS[.FRACTION]", without zeros at the end of FRACTION.
std::string TimeText(ISC_TIME time);

/// `text` is "YYYY-MM-DD HH:MM:SS[.FRACTION]". Digits of FRACTION behind the fourth are left out.
ISC_TIMESTAMP ReadFirebirdTime(const std::string& text);

} // namespace kwlookup
