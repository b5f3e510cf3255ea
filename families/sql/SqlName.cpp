// SPDX-License-Identifier: MIT
#include "families/sql/SqlName.h"

#include <stdexcept>

namespace kwlookup {

namespace {

bool IsLetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

} // namespace

bool IsSqlName(std::string_view text) {
    for (const char c : text)
        if (!IsLetter(c) && !(c >= '0' && c <= '9') && c != '_')
            return false;
    return !text.empty() && IsLetter(text[0]);
}

void CheckSqlName(bool is_name, const std::string& name) {
    if (!is_name)
        throw std::invalid_argument("'" + name + "' in the statement is not a name");
}

std::string QuotedSqlName(const std::string& name, char quote) {
    std::string quoted(1, quote);
    for (const char c : name) {
        if (c == '.')
            quoted.append({quote, '.', quote});
        else
            quoted += c;
    }
    return quoted + quote;
}

} // namespace kwlookup
