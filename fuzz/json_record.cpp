// SPDX-License-Identifier: MIT
// Reads each line of the input as a record, and compares it with what the JSON library reads.
#include "JsonRecord.h"
#include "fuzz/Require.h"

#include <nlohmann/json.hpp>

#include <cstddef>
#include <cstdint>
#include <string>

using namespace kwlookup;

namespace {

using Json = nlohmann::json;

bool IsRecord(const Json& json) {
    if (!json.is_object())
        return false;
    for (const Json& value : json)
        if (!value.is_string() && !value.is_number())
            return false;
    return true;
}

void RequireRecord(const std::string& line, KwStorageValuesMap& record) {
    const bool read = ReadJsonRecord(line, record).empty();
    const Json json = Json::parse(line, nullptr, false);
    if (!read) {
        // A value of another kind is an error even if another one of its name follows.
        Require(!IsRecord(json) || line.find("null") != std::string::npos ||
                line.find_first_of("[tf") != std::string::npos || line.find('{', 1) != line.npos);
        return;
    }
    Require(IsRecord(json) && json.size() == record.m_values.size());
    for (const auto& [name, value] : record.m_values) {
        const Json& parsed = json.at(name);
        Require(value.first == KwStorageValuesMap::Varchar);
        if (parsed.is_string())
            Require(value.second == parsed.get_ref<const std::string&>());
        else if (parsed.is_number_integer())
            Require(value.second == parsed.dump());
        else
            Require(Json::parse(value.second) == parsed);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string input(data, data + size);
    KwStorageValuesMap record; // each line is read into the record of the one before
    for (std::size_t begin = 0; begin <= input.size();) {
        const std::size_t end = std::min(input.find('\n', begin), input.size());
        RequireRecord(input.substr(begin, end - begin), record);
        begin = end + 1;
    }
    return 0;
}
