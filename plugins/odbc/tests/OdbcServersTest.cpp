// SPDX-License-Identifier: MIT
#include "plugins/odbc/tests/OdbcService.h"
#include "servers/ServerFaultsTest.h"

INSTANTIATE_TYPED_TEST_SUITE_P(Odbc, ServerFaultsTest, OdbcService);
