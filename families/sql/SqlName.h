// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

namespace kwlookup {

/// True for a letter followed by letters, digits and '_'.
bool IsSqlName(std::string_view text);

/// Throws std::invalid_argument "'NAME' in the statement is not a name" unless `is_name`.
void CheckSqlName(bool is_name, const std::string& name);

/// `name` with each of its parts, which are separated by dots, between two `quote` characters.
std::string QuotedSqlName(const std::string& name, char quote);

/// Writes `name` in capital letters unless it has any, as some databases keep names that were
/// created without quotes.
void FoldSqlName(std::string& name);

} // namespace kwlookup
