// SPDX-License-Identifier: MIT
#include "plugins/firebird/tests/FirebirdService.h"
#include "servers/ServerStorageTest.h"
#include "servers/ServerThreadsTest.h"

INSTANTIATE_TYPED_TEST_SUITE_P(Firebird, ServerStorageTest, FirebirdService);
INSTANTIATE_TYPED_TEST_SUITE_P(Firebird, ServerThreadsTest, FirebirdService);
