// SPDX-License-Identifier: MIT
#include "Field.h"

#include <string_view>

namespace {

bool IsControl(char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte < 0x20 || byte == 0x7f;
}

bool IsHexDigit(char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

bool LooksLikeEscape(std::string_view text) {
    return text.size() >= 4 && text[1] == 'x' && IsHexDigit(text[2]) && IsHexDigit(text[3]);
}

/// U+0080 to U+009F: some terminals take these for commands as well.
bool IsControlPair(std::string_view text) {
    return text.size() >= 2 && text[0] == '\xc2' && (text[1] & 0xe0) == 0x80;
}

void AppendEscaped(std::string& line, char c) {
    static const char digits[] = "0123456789abcdef";
    const auto byte = static_cast<unsigned char>(c);
    line += "\\x";
    line += digits[byte >> 4];
    line += digits[byte & 0xf];
}

} // namespace

void AppendField(std::string& line, const std::string& text) {
    // Nearly every text is plain: without a branch for each byte this test costs next to nothing.
    bool plain = true;
    for (const char c : text)
        plain &= !IsControl(c) & (c != '\\') & (c != '\xc2');
    if (plain) {
        line += text;
        return;
    }
    for (std::string_view rest = text; !rest.empty(); rest.remove_prefix(1)) {
        if (IsControlPair(rest)) {
            AppendEscaped(line, rest[0]);
            AppendEscaped(line, rest[1]);
            rest.remove_prefix(1);
        } else if (IsControl(rest[0]) || (rest[0] == '\\' && LooksLikeEscape(rest))) {
            AppendEscaped(line, rest[0]);
        } else {
            line += rest[0];
        }
    }
}
