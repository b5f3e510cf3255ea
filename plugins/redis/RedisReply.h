// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

namespace kwlookup {

/// A reply of a Redis server.
struct RedisReply {
    enum class Type { Nil, String, Status, Error, Integer, Array };

    Type type = Type::Nil;
    long long integer = 0;
    std::string text; ///< of a string, a status or an error; any bytes
    std::vector<RedisReply> elements;

    /// True for an error whose first word is `kind`.
    bool IsError(const char* kind) const { return type == Type::Error && text.rfind(kind, 0) == 0; }
};

} // namespace kwlookup
