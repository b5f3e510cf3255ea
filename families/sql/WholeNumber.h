// SPDX-License-Identifier: MIT
#pragma once

#include <charconv>
#include <optional>
#include <string>

namespace kwlookup {

/// The whole number in `text`, written as servers write it, without a '+' or leading zeros. Nothing
/// may follow it. Servers themselves would read a number at the start of the text and ignore the
/// rest.
inline std::optional<long long> ReadWholeNumber(const std::string& text) {
    long long number = 0;
    const char* const end = text.data() + text.size();
    const auto read = std::from_chars(text.data(), end, number);
    if (read.ec != std::errc() || read.ptr != end || std::to_string(number) != text)
        return std::nullopt;
    return number;
}

} // namespace kwlookup
