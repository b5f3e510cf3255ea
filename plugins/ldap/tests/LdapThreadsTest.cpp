// SPDX-License-Identifier: MIT
#include "plugins/ldap/tests/LdapService.h"
#include "servers/ServerThreadsTest.h"

INSTANTIATE_TYPED_TEST_SUITE_P(Ldap, ServerThreadsTest, LdapService);
