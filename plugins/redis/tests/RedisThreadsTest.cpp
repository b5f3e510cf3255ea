// SPDX-License-Identifier: MIT
#include "plugins/redis/tests/RedisService.h"
#include "servers/ServerThreadsTest.h"

INSTANTIATE_TYPED_TEST_SUITE_P(Redis, ServerThreadsTest, RedisService);
