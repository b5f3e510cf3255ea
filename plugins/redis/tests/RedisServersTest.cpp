// SPDX-License-Identifier: MIT
#include "plugins/redis/tests/RedisService.h"
#include "servers/ServerDamageTest.h"
#include "servers/ServerFaultsTest.h"
#include "servers/ServerTlsTest.h"

INSTANTIATE_TYPED_TEST_SUITE_P(Redis, ServerDamageTest, RedisService);
INSTANTIATE_TYPED_TEST_SUITE_P(Redis, ServerFaultsTest, RedisService);
INSTANTIATE_TYPED_TEST_SUITE_P(Redis, ServerTlsTest, RedisService);
