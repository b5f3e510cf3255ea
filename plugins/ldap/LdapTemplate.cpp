// SPDX-License-Identifier: MIT
#include "plugins/ldap/LdapTemplate.h"

#include "plugins/ldap/LdapNames.h"

namespace kwlookup {
namespace {

bool IsSafe(char c) {
    return IsLetter(c) || IsDigit(c) || c == '@' || c == '.' || c == '-' || c == '_';
}

void AppendEscaped(std::string_view value, std::string& out) {
    constexpr char DIGITS[] = "0123456789abcdef";
    for (const char c : value) {
        if (IsSafe(c)) {
            out += c;
            continue;
        }
        const auto byte = static_cast<unsigned char>(c);
        const char escaped[] = {'\\', DIGITS[byte / 16], DIGITS[byte % 16]};
        out.append(escaped, sizeof(escaped));
    }
}

bool IsAskable(std::string_view value) {
    return !value.empty() && value.front() != ' ' && value.back() != ' ' &&
           value.find("  ") == std::string_view::npos && value.find('\0') == std::string_view::npos;
}

} // namespace

void LdapTemplate::AddStructure(std::string_view text) {
    m_pieces.back().text += text;
}

void LdapTemplate::AddValue(char byte) {
    AppendEscaped({&byte, 1}, m_pieces.back().text);
}

void LdapTemplate::AddCode(char code) {
    m_pieces.back().code = code;
    m_pieces.emplace_back();
}

bool LdapTemplate::Expand(const KwLookupWithConfig& lookup, const KwLookupFinder& finder, int flags,
                          std::string& out, std::string& first) const {
    static thread_local std::string value; // keeps its memory
    for (const Piece& piece : m_pieces) {
        out += piece.text;
        if (piece.code == '\0')
            break;
        value.clear();
        if (piece.code == 's') {
            const std::string_view text = ViewOf(finder.GetRequest());
            KwLookupWithConfig::AssignValue(text.data(), text.data() + text.size(), value, flags);
        } else if (piece.code == 'u') {
            lookup.ExpandUsername(finder, flags, KwLookupWithConfig::AssignValue, value);
        } else {
            lookup.ExpandDomain(finder, flags, KwLookupWithConfig::AssignValue, value);
        }
        if (!IsAskable(value))
            return false;
        if (first.empty())
            first = value;
        AppendEscaped(value, out);
    }
    return true;
}

} // namespace kwlookup
