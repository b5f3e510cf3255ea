// SPDX-License-Identifier: MIT
#include "plugins/odbc/tests/OdbcService.h"
#include "servers/ServerDamageTest.h"
#include "servers/ServerFaultsTest.h"

INSTANTIATE_TYPED_TEST_SUITE_P(Odbc, ServerDamageTest, OdbcService);
INSTANTIATE_TYPED_TEST_SUITE_P(Odbc, ServerFaultsTest, OdbcService);
