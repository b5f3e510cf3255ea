// SPDX-License-Identifier: MIT
// Splits a list, and compares with a splitter that reads character by character. The first byte is
// the separator.
#include "conf/ConfParser.h"
#include "fuzz/Require.h"

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using Strings = std::vector<std::string>;

bool IsSpace(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

void Append(std::string item, Strings& out) {
    while (!item.empty() && IsSpace(item.front()))
        item.erase(0, 1);
    while (!item.empty() && IsSpace(item.back()))
        item.pop_back();
    if (item.size() >= 2 && item.front() == '"' && item.back() == '"')
        item = item.substr(1, item.size() - 2);
    out.push_back(item);
}

/// Split `value`. Returns the error, or an empty text.
std::string Split(const std::string& value, Strings& out, char separator) {
    out.clear();
    std::string item;
    bool escaped = false;
    bool quoted = false;
    for (std::size_t i = 0; i < value.size(); ++i) {
        const char c = value[i];
        if (c == '\\') {
            if (escaped) {
                item += '\\';
                escaped = false;
            } else {
                if (i + 1 < value.size() && value[i + 1] != separator && value[i + 1] != '\\' &&
                    value[i + 1] != '"')
                    item += '\\';
                escaped = true;
            }
        } else if (escaped) {
            item += c;
            escaped = false;
        } else if (c == '"') {
            quoted = !quoted;
            item += c;
        } else if (c == separator && !quoted) {
            Append(item, out);
            item.clear();
        } else {
            item += c;
        }
    }
    if (quoted)
        return "can't find final '\"' symbol";
    if (escaped)
        return "can't find sybol after '\\'";
    if (!item.empty())
        Append(item, out);
    return std::string();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 1)
        return 0;
    const char separator = static_cast<char>(data[0]);
    const std::string value(data + 1, data + size);
    Strings expected;
    const std::string expected_error = Split(value, expected, separator);
    Strings out{"left over"};
    std::string error;
    try {
        ConfParser::SplitVector(value, out, separator);
    } catch (const std::invalid_argument& caught) {
        error = caught.what();
    }
    Require(error == expected_error);
    Require(out == expected);
    return 0;
}
