// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

namespace kwlookup {

/// True when `text` is UTF-8: no overlong forms, no surrogates, nothing above U+10FFFF.
bool IsUtf8(std::string_view text);

} // namespace kwlookup
