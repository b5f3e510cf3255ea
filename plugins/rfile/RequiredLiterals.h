// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace kwlookup {

/// Literals of which a text must hold at least one, in lower case (A to Z only).
using LiteralSet = std::vector<std::string>;

/// What a text must hold so that `pattern`, a pattern of the PCRE2 syntax that compiles, can match
/// it with or without regard to letter case: of each set one literal, in the lower-cased text. No
/// literal is shorter than 3 bytes. No set: nothing is known, any text may match.
///
/// Only what PCRE2 and RE2, which finds the literals, are sure to understand alike is looked at.
/// The pattern must not be one in which white space does not count. Cost: about 30 us for a pattern
/// of 30 bytes. Threads: any.
std::vector<LiteralSet> RequiredLiterals(std::string_view pattern);

} // namespace kwlookup
