// SPDX-License-Identifier: MIT
#pragma once

namespace kwlookup {

/// A to Z as a to z, and any other byte as it is: what is in a file does not depend on the locale
/// of whoever reads it.
constexpr char AsciiLower(char c) {
    return static_cast<char>(c >= 'A' && c <= 'Z' ? c + ('a' - 'A') : c);
}

} // namespace kwlookup
