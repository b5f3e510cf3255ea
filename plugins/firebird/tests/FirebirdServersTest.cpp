// SPDX-License-Identifier: MIT
#include "plugins/firebird/tests/FirebirdService.h"
#include "servers/ServerFaultsTest.h"

INSTANTIATE_TYPED_TEST_SUITE_P(Firebird, ServerFaultsTest, FirebirdService);
