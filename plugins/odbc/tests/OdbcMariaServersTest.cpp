// SPDX-License-Identifier: MIT
#include "plugins/odbc/tests/OdbcMariaService.h"
#include "servers/ServerFaultsTest.h"
#include "servers/ServerThreadsTest.h"

INSTANTIATE_TYPED_TEST_SUITE_P(OdbcMaria, ServerFaultsTest, OdbcMariaService);
INSTANTIATE_TYPED_TEST_SUITE_P(OdbcMaria, ServerThreadsTest, OdbcMariaService);
