// SPDX-License-Identifier: MIT
#include "Field.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace kwlookup {

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

/// U+0080 to U+009F, which some terminals interpret as commands too.
bool IsControlPair(std::string_view text) {
    return text.size() >= 2 && text[0] == '\xc2' && (text[1] & 0xe0) == 0x80;
}

/// Not zero if one of the eight bytes may have to be escaped.
std::uint64_t Suspects(std::uint64_t word) {
    constexpr std::uint64_t EACH_BYTE = 0x0101010101010101;
    // If any byte of `w` is less than n, the highest bit of some byte of `below(w, n)` is set.
    const auto below = [](std::uint64_t w, std::uint64_t n) { return (w - n * EACH_BYTE) & ~w; };
    const auto equal = [&](unsigned char c) { return below(word ^ (c * EACH_BYTE), 1); };
    return (below(word, 0x20) | equal(0x7f) | equal('\\') | equal(0xc2)) & (0x80 * EACH_BYTE);
}

/// True if no byte has to be escaped. Tests eight bytes at once, since nearly every text is plain.
bool IsPlain(std::string_view text) {
    if (text.size() < sizeof(std::uint64_t))
        return std::none_of(text.begin(), text.end(),
                            [](char c) { return IsControl(c) || c == '\\' || c == '\xc2'; });
    std::uint64_t suspects = 0;
    const auto look_at = [&](std::size_t at) {
        std::uint64_t word;
        std::memcpy(&word, text.data() + at, sizeof(word));
        suspects |= Suspects(word);
    };
    for (std::size_t at = 0; at < text.size() - sizeof(std::uint64_t); at += sizeof(std::uint64_t))
        look_at(at);
    look_at(text.size() - sizeof(std::uint64_t));
    return suspects == 0;
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
    if (IsPlain(text)) {
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

} // namespace kwlookup
