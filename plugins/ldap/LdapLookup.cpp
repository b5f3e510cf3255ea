// SPDX-License-Identifier: MIT
#include "families/servers/ServerLookup.h"
#include "families/servers/ServerSet.h"
#include "plugins/ldap/LdapConfig.h"
#include "plugins/ldap/LdapConnection.h"
#include "plugins/ldap/LdapQuery.h"

/// The creator that the library calls.
extern "C" KW_EXPORT KwIfSharedLookup* CreateLookup(const LogClass& log) {
    using namespace kwlookup;
    return new ServerLookup<LdapConfig, LdapQuery, ServerSet<LdapConnection>>(log);
}
