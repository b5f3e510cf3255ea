// SPDX-License-Identifier: MIT
#pragma once

#include "plugins/ldap/LdapTemplate.h"

#include <string>

namespace kwlookup {

/// Reads a filter (RFC 4515) with codes, which may stand in the values that attributes are compared
/// with, and nowhere else. A filter of one comparison may lack its parentheses.
///
/// Throws std::invalid_argument "wrong filter 'TEXT': REASON at byte NUMBER", "unrecognize
/// expansion in 'TEXT'" and "the template holds a NUL byte".
LdapTemplate ReadLdapFilter(const std::string& text);

} // namespace kwlookup
