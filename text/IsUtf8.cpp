// SPDX-License-Identifier: MIT
#include "text/IsUtf8.h"

#include <cstddef>

namespace kwlookup {

bool IsUtf8(std::string_view text) {
    for (std::size_t i = 0; i < text.size();) {
        const auto byte = [text](std::size_t at) -> unsigned {
            return at < text.size() ? static_cast<unsigned char>(text[at]) : 0;
        };
        const unsigned first = byte(i);
        std::size_t more = 0;
        // The bounds of the second byte exclude overlong forms, surrogates and other numbers that
        // are no characters.
        unsigned least = 0x80, most = 0xbf;
        if (first >= 0xc2 && first <= 0xdf) {
            more = 1;
        } else if (first >= 0xe0 && first <= 0xef) {
            more = 2;
            least = first == 0xe0 ? 0xa0 : least;
            most = first == 0xed ? 0x9f : most;
        } else if (first >= 0xf0 && first <= 0xf4) {
            more = 3;
            least = first == 0xf0 ? 0x90 : least;
            most = first == 0xf4 ? 0x8f : most;
        } else if (first >= 0x80) {
            return false;
        }
        for (std::size_t k = 1; k <= more; ++k) {
            if (byte(i + k) < (k == 1 ? least : 0x80) || byte(i + k) > (k == 1 ? most : 0xbf))
                return false;
        }
        i += 1 + more;
    }
    return true;
}

} // namespace kwlookup
