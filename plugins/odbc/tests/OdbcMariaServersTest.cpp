// SPDX-License-Identifier: MIT
#include "plugins/odbc/tests/OdbcMariaService.h"
#include "servers/ServerFaultsTest.h"

INSTANTIATE_TYPED_TEST_SUITE_P(OdbcMaria, ServerFaultsTest, OdbcMariaService);
