// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

namespace kwlookup {

/// Returns the other form of an address whose local part can only be written in quotes: without
/// them if it has them ("a,b"@corp.lan), and with them if it has not. Mail servers ask for one or
/// the other. Empty for every other address. Throws std::bad_alloc.
std::string OtherLocalPartForm(std::string_view address);

} // namespace kwlookup
