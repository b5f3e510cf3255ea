// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <string>

namespace kwlookup {

/// Returns a to z for A to Z and any other byte unchanged. For keywords in files, whose meaning
/// must not depend on the reader's locale.
constexpr char AsciiLower(char c) {
    return static_cast<char>(c >= 'A' && c <= 'Z' ? c + ('a' - 'A') : c);
}

/// Returns `text` with a to z for A to Z. Move a text that is no more needed, to save its copy.
inline std::string AsciiLowerCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), AsciiLower);
    return text;
}

} // namespace kwlookup
