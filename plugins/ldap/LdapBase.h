// SPDX-License-Identifier: MIT
#pragma once

#include "plugins/ldap/LdapTemplate.h"

#include <string>

namespace kwlookup {

/// Parse the name of an entry (RFC 4514), which may be empty. Only the values of attributes may
/// contain codes.
///
/// Throws std::invalid_argument "wrong Base 'TEXT': REASON at byte NUMBER", "unrecognize expansion
/// in 'TEXT'" and "the template holds a NUL byte".
LdapTemplate ReadLdapBase(const std::string& text);

} // namespace kwlookup
