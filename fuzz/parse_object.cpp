// SPDX-License-Identifier: MIT
// Parses one item of an object list, and compares with a loop over its characters.
#include "fuzz/Require.h"
#include "objects/KwObjectHolder.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace {

void Parse(const std::string& item, std::string& type, std::string& params) {
    type.clear();
    params = item;
    std::string before;
    for (std::size_t i = 0; i < item.size(); ++i) {
        char c = item[i];
        if (c == ':') {
            type = before == "value" ? "" : before;
            params = item.substr(i + 1);
            return;
        }
        if (c == ' ' || (c >= '\t' && c <= '\r'))
            return;
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
        before += c;
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string item(data, data + size);
    std::string expected_type, expected_params;
    Parse(item, expected_type, expected_params);
    std::string type = "left over";
    std::string params = "left over";
    KwObjectHolder::ParseObject(item, type, params);
    Require(type == expected_type);
    Require(params == expected_params);
    return 0;
}
