// SPDX-License-Identifier: MIT
#pragma once

namespace kwlookup {

/// Returns a to z for A to Z and any other byte unchanged. For keywords in files, whose meaning
/// must not depend on the reader's locale.
constexpr char AsciiLower(char c) {
    return static_cast<char>(c >= 'A' && c <= 'Z' ? c + ('a' - 'A') : c);
}

} // namespace kwlookup
