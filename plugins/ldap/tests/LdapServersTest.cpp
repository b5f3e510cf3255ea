// SPDX-License-Identifier: MIT
#include "plugins/ldap/tests/LdapService.h"
#include "servers/ServerDamageTest.h"
#include "servers/ServerFaultsTest.h"
#include "servers/ServerTlsTest.h"

INSTANTIATE_TYPED_TEST_SUITE_P(Ldap, ServerDamageTest, LdapService);
INSTANTIATE_TYPED_TEST_SUITE_P(Ldap, ServerFaultsTest, LdapService);
INSTANTIATE_TYPED_TEST_SUITE_P(Ldap, ServerTlsTest, LdapService);
INSTANTIATE_TYPED_TEST_SUITE_P(LdapStartTls, ServerTlsTest, LdapStartTlsService);
