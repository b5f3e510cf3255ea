// SPDX-License-Identifier: MIT
#include "plugins/postgres/tests/PostgresService.h"
#include "servers/ServerDamageTest.h"
#include "servers/ServerFaultsTest.h"
#include "servers/ServerTlsTest.h"

INSTANTIATE_TYPED_TEST_SUITE_P(Postgres, ServerDamageTest, PostgresService);
INSTANTIATE_TYPED_TEST_SUITE_P(Postgres, ServerFaultsTest, PostgresService);
INSTANTIATE_TYPED_TEST_SUITE_P(Postgres, ServerTlsTest, PostgresService);
