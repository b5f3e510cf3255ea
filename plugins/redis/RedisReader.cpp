// SPDX-License-Identifier: MIT
#include "plugins/redis/RedisReader.h"

#include "families/servers/ServerFault.h"

#include <hiredis/read.h>
#include <new>
#include <stdexcept>

namespace kwlookup {
namespace {

/// More than any sensible result, but less than a hostile server may send.
constexpr std::size_t LONGEST_REPLY = 16 * 1024 * 1024;
/// The slots of a cluster take some 20 values a node. A small value takes 100 bytes of memory here,
/// but only 4 bytes to send.
constexpr std::size_t MOST_VALUES = 100000;

} // namespace

/// hiredis calls these functions for each value: an array first, then its values in order. They do
/// not throw. To hiredis, null means a lack of memory.
class RedisReader::Builder {
public:
    RedisReply Take() {
        m_values = 0;
        return std::move(m_root);
    }

    static redisReplyObjectFunctions* Functions() {
        static redisReplyObjectFunctions functions = {
            [](const redisReadTask* task, char* text, size_t size) -> void* {
                return Add(task, [&](RedisReply& reply) {
                    reply.type = task->type == REDIS_REPLY_STATUS  ? RedisReply::Type::Status
                                 : task->type == REDIS_REPLY_ERROR ? RedisReply::Type::Error
                                                                   : RedisReply::Type::String;
                    reply.text.assign(text, size);
                });
            },
            [](const redisReadTask* task, int) -> void* {
                return Add(task, [](RedisReply& reply) { reply.type = RedisReply::Type::Array; });
            },
            [](const redisReadTask* task, long long integer) -> void* {
                return Add(task, [integer](RedisReply& reply) {
                    reply.type = RedisReply::Type::Integer;
                    reply.integer = integer;
                });
            },
            [](const redisReadTask* task) -> void* { return Add(task, [](RedisReply&) {}); },
            [](void*) {}, // the builder owns them
        };
        return &functions;
    }

private:
    template <typename Fill>
    static void* Add(const redisReadTask* task, Fill&& fill) noexcept {
        auto& builder = *static_cast<Builder*>(task->privdata);
        try {
            if (++builder.m_values > MOST_VALUES)
                return nullptr;
            RedisReply* reply = &builder.m_root;
            if (task->parent)
                reply = &static_cast<RedisReply*>(task->parent->obj)->elements.emplace_back();
            else
                *reply = RedisReply();
            fill(*reply);
            return reply;
        } catch (const std::bad_alloc&) {
            return nullptr;
        }
    }

    RedisReply m_root;
    std::size_t m_values = 0;
};

void RedisReader::Free::operator()(redisReader* reader) const {
    ::redisReaderFree(reader);
}

RedisReader::RedisReader()
    : m_builder(std::make_unique<Builder>()),
      m_reader(::redisReaderCreateWithFunctions(Builder::Functions())) {
    if (!m_reader)
        throw std::bad_alloc();
    m_reader->privdata = m_builder.get();
}

RedisReader::~RedisReader() = default;

void RedisReader::Feed(std::string_view bytes) {
    m_fed += bytes.size();
    if (m_fed > LONGEST_REPLY)
        throw std::runtime_error("the answer is longer than 16 MiB");
    if (::redisReaderFeed(m_reader.get(), bytes.data(), bytes.size()) != REDIS_OK)
        throw std::bad_alloc();
}

bool RedisReader::Next(RedisReply& reply) {
    void* whole = nullptr;
    if (::redisReaderGetReply(m_reader.get(), &whole) != REDIS_OK)
        throw ServerFault(std::string("not an answer of Redis: ") + m_reader->errstr);
    if (!whole)
        return false;
    m_fed = m_reader->len - m_reader->pos;
    reply = m_builder->Take();
    return true;
}

} // namespace kwlookup
