// SPDX-License-Identifier: MIT
#include "families/servers/ServerLookup.h"
#include "plugins/redis/RedisCommand.h"
#include "plugins/redis/RedisConfig.h"
#include "plugins/redis/RedisSource.h"

namespace {

/// "redis:COMMAND ARGUMENT...".
using RedisLookup =
    kwlookup::ServerLookup<kwlookup::RedisConfig, kwlookup::RedisCommand, kwlookup::RedisSource>;

} // namespace

/// The creator that the library calls.
extern "C" KW_EXPORT KwIfSharedLookup* CreateLookup(const LogClass& log) {
    return new RedisLookup(log);
}
