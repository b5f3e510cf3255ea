// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

namespace kwlookup {

/// True for letters, digits and '_', a letter first.
bool IsSqlName(std::string_view text);

/// Throws std::invalid_argument "'NAME' in the statement is not a name" unless `is_name`.
void CheckSqlName(bool is_name, const std::string& name);

/// `name` with each of its parts, which have dots between, between two `quote` characters.
std::string QuotedSqlName(const std::string& name, char quote);

} // namespace kwlookup
