// SPDX-License-Identifier: MIT
#include "families/sql/SqlName.h"

#include <algorithm>
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

void FoldSqlName(std::string& name) {
    const auto is_capital = [](char c) { return c >= 'A' && c <= 'Z'; };
    if (std::none_of(name.begin(), name.end(), is_capital))
        for (char& c : name)
            if (c >= 'a' && c <= 'z')
                c = static_cast<char>(c - 'a' + 'A');
}

} // namespace kwlookup
