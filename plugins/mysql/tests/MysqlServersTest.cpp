// SPDX-License-Identifier: MIT
#include "plugins/mysql/tests/MysqlService.h"
#include "servers/ServerDamageTest.h"
#include "servers/ServerFaultsTest.h"
#include "servers/ServerTlsTest.h"

INSTANTIATE_TYPED_TEST_SUITE_P(Mysql, ServerDamageTest, MysqlService);
INSTANTIATE_TYPED_TEST_SUITE_P(Mysql, ServerFaultsTest, MysqlService);
INSTANTIATE_TYPED_TEST_SUITE_P(Mysql, ServerTlsTest, MysqlService);
