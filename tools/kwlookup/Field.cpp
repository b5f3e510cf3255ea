// SPDX-License-Identifier: MIT
#include "Field.h"

#include <array>
#include <cstddef>
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

/// True if no byte has to be escaped. Tests a block of bytes at once, since nearly every text is
/// plain.
bool IsPlain(std::string_view text) {
    using Block [[gnu::vector_size(16)]] = unsigned char;
    constexpr std::size_t SIZE = sizeof(Block);
    Block suspects{};
    const auto look_at = [&](const char* bytes, std::size_t size) {
        Block block = Block{} + 0x20; // plain bytes
        std::memcpy(&block, bytes, size);
        suspects |= (block < 0x20) | (block == 0x7f) | (block == '\\') | (block == 0xc2);
    };
    if (text.size() < SIZE) {
        look_at(text.data(), text.size());
    } else {
        for (std::size_t at = 0; at < text.size() - SIZE; at += SIZE)
            look_at(text.data() + at, SIZE);
        look_at(text.data() + text.size() - SIZE, SIZE);
    }
    std::array<std::uint64_t, 2> words;
    static_assert(sizeof(words) == SIZE);
    std::memcpy(words.data(), &suspects, SIZE);
    return (words[0] | words[1]) == 0;
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
