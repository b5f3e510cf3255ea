// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

namespace kwlookup {

/// What a Redis server says.
struct RedisReply {
    enum class Type { Nil, String, Status, Error, Integer, Array };

    Type type = Type::Nil;
    long long integer = 0;
    std::string text; ///< of a string, a status or an error; any bytes
    std::vector<RedisReply> elements;

    /// The kind of an error is its first word.
    bool IsError(const char* kind) const { return type == Type::Error && text.rfind(kind, 0) == 0; }
};

} // namespace kwlookup
