// SPDX-License-Identifier: MIT
#include "plugins/postgres/tests/PostgresService.h"
#include "servers/ServerStorageTest.h"
#include "servers/ServerThreadsTest.h"

INSTANTIATE_TYPED_TEST_SUITE_P(Postgres, ServerStorageTest, PostgresService);
INSTANTIATE_TYPED_TEST_SUITE_P(Postgres, ServerThreadsTest, PostgresService);
