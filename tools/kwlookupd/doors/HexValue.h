// SPDX-License-Identifier: MIT
#pragma once

namespace kwlookup {

/// The value of a hexadecimal digit, or -1.
inline int HexValue(char c) {
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    return c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

} // namespace kwlookup
