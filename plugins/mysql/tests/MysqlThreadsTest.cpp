// SPDX-License-Identifier: MIT
#include "plugins/mysql/tests/MysqlService.h"
#include "servers/ServerStorageTest.h"
#include "servers/ServerThreadsTest.h"

INSTANTIATE_TYPED_TEST_SUITE_P(Mysql, ServerStorageTest, MysqlService);
INSTANTIATE_TYPED_TEST_SUITE_P(Mysql, ServerThreadsTest, MysqlService);
