// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

namespace kwlookup {

/// What a Redis server says.
struct RedisReply {
    enum class Type { NIL, STRING, STATUS, ERROR, INTEGER, ARRAY };

    Type type = Type::NIL;
    long long integer = 0;
    std::string text; ///< of a string, a status or an error; any bytes
    std::vector<RedisReply> elements;

    /// The kind of an error is its first word.
    bool IsError(const char* kind) const { return type == Type::ERROR && text.rfind(kind, 0) == 0; }
};

} // namespace kwlookup
