// SPDX-License-Identifier: MIT
#pragma once

#include "plugins/redis/RedisReply.h"

#include <cstddef>
#include <memory>
#include <string_view>

struct redisReader;

namespace kwlookup {

/// Parses replies from the bytes that a server sends. The bytes are not trusted.
///
/// Threads: one.
class RedisReader {
public:
    RedisReader();
    ~RedisReader();
    RedisReader(const RedisReader&) = delete;
    RedisReader& operator=(const RedisReader&) = delete;

    /// Throws std::bad_alloc, and std::runtime_error "the answer is longer than 16 MiB".
    void Feed(std::string_view bytes);

    /// Read the next reply. False if it is incomplete. Throws ServerFault "not an answer of Redis:
    /// REASON"; the reader cannot be used then.
    bool Next(RedisReply& reply);

    /// True if no bytes are left after the replies that were read.
    bool IsEmpty() const { return m_fed == 0; }

private:
    struct Free {
        void operator()(redisReader* reader) const;
    };

    /// Builds replies for hiredis.
    class Builder;

    std::unique_ptr<Builder> m_builder;
    std::unique_ptr<redisReader, Free> m_reader;
    std::size_t m_fed = 0; ///< the bytes that belong to no complete reply yet
};

} // namespace kwlookup
