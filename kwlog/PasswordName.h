// SPDX-License-Identifier: MIT
#pragma once

#include "text/AsciiLower.h"

#include <string>
#include <string_view>

namespace kwlookup {

/// Returns true when the name of a setting says that its value is a password.
inline bool IsPasswordName(std::string_view name) {
    const std::string lower = AsciiLowerCase(std::string(name));
    for (const char* word : {"password", "passwd", "secret"})
        if (lower.find(word) != std::string::npos)
            return true;
    return false;
}

} // namespace kwlookup
