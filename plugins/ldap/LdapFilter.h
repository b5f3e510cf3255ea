// SPDX-License-Identifier: MIT
#pragma once

#include "plugins/ldap/LdapTemplate.h"

#include <string>

namespace kwlookup {

/// Parse a filter (RFC 4515). Only the values that attributes are compared with may contain codes.
/// A filter of one comparison may lack its parentheses.
///
/// Throws std::invalid_argument "wrong filter 'TEXT': REASON at byte NUMBER", "unrecognize
/// expansion in 'TEXT'" and "the template holds a NUL byte".
LdapTemplate ReadLdapFilter(const std::string& text);

} // namespace kwlookup
