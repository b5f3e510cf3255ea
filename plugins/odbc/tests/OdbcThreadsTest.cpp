// SPDX-License-Identifier: MIT
#include "plugins/odbc/tests/OdbcService.h"
#include "servers/ServerStorageTest.h"
#include "servers/ServerThreadsTest.h"

INSTANTIATE_TYPED_TEST_SUITE_P(Odbc, ServerStorageTest, OdbcService);
INSTANTIATE_TYPED_TEST_SUITE_P(Odbc, ServerThreadsTest, OdbcService);
