// SPDX-License-Identifier: MIT
#pragma once

#include "plugins/ldap/LdapTemplate.h"

#include <string>

namespace kwlookup {

/// Reads the name of an entry (RFC 4514) with codes, which may stand in the values of attributes
/// and nowhere else. It may be empty.
///
/// Throws std::invalid_argument "wrong Base 'TEXT': REASON at byte NUMBER", "unrecognize expansion
/// in 'TEXT'" and "the template holds a NUL byte".
LdapTemplate ReadLdapBase(const std::string& text);

} // namespace kwlookup
