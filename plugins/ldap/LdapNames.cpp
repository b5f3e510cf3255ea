// SPDX-License-Identifier: MIT
#include "plugins/ldap/LdapNames.h"

#include <algorithm>

namespace kwlookup {
namespace {

bool IsKeyCharacter(char c) {
    return IsLetter(c) || IsDigit(c) || c == '-';
}

bool IsNumber(std::string_view text) {
    return !text.empty() && std::all_of(text.begin(), text.end(), IsDigit) &&
           (text.size() == 1 || text[0] != '0');
}

/// Cut the text before the first `separator`, and the separator, off the start of `text`.
std::string_view TakeUntil(std::string_view& text, char separator) {
    const std::size_t end = std::min(text.find(separator), text.size());
    const std::string_view taken = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    return taken;
}

bool IsObjectIdentifier(std::string_view text) {
    if (text.empty() || text.back() == '.' || text.find('.') == std::string_view::npos)
        return false;
    while (!text.empty())
        if (!IsNumber(TakeUntil(text, '.')))
            return false;
    return true;
}

} // namespace

bool IsLetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

bool IsLdapAttribute(std::string_view text) {
    if (!text.empty() && text.back() == ';')
        return false;
    if (!IsLdapName(TakeUntil(text, ';')))
        return false;
    while (!text.empty()) {
        const std::string_view option = TakeUntil(text, ';');
        if (option.empty() || !std::all_of(option.begin(), option.end(), IsKeyCharacter))
            return false;
    }
    return true;
}

bool IsLdapName(std::string_view text) {
    if (!text.empty() && IsLetter(text[0]))
        return std::all_of(text.begin(), text.end(), IsKeyCharacter);
    return IsObjectIdentifier(text);
}

int HexDigit(char c) {
    if (IsDigit(c))
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

} // namespace kwlookup
