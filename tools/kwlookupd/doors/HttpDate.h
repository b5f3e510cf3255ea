// SPDX-License-Identifier: MIT
#pragma once

#include <ctime>
#include <optional>
#include <string>
#include <string_view>

namespace kwlookup {

/// Returns a time as HTTP writes it: "Sun, 06 Nov 1994 08:49:37 GMT", in any locale.
std::string FormatHttpDate(std::time_t time);

/// Returns the time of such a text; empty if it is in another format.
std::optional<std::time_t> ParseHttpDate(std::string_view text);

} // namespace kwlookup
