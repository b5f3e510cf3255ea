// SPDX-License-Identifier: MIT
#pragma once

#include "plugins/redis/RedisReply.h"

#include <cstddef>
#include <memory>
#include <string_view>

struct redisReader;

namespace kwlookup {

/// Makes replies of the bytes that a server sends, whatever they are.
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

    /// The next reply; false when it is not whole yet. Throws ServerFault "not an answer of Redis:
    /// REASON"; nothing can be read then any more.
    bool Next(RedisReply& reply);

    /// True when nothing is left behind the replies that were read.
    bool IsEmpty() const { return m_fed == 0; }

private:
    struct Free {
        void operator()(redisReader* reader) const;
    };

    /// Builds replies for hiredis.
    class Builder;

    std::unique_ptr<Builder> m_builder;
    std::unique_ptr<redisReader, Free> m_reader;
    std::size_t m_fed = 0; ///< bytes of the reply that is not whole yet
};

} // namespace kwlookup
