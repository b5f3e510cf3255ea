// SPDX-License-Identifier: MIT
#include "lookup/config/QueryTemplate.h"

#include <stdexcept>
#include <string_view>
#include <utility>

namespace kwlookup {

QueryTemplate::QueryTemplate(std::string text) : m_text(std::move(text)) {
    if (m_text.find('\0') != std::string::npos)
        throw std::invalid_argument("the template holds a NUL byte");
    std::string literal;
    for (std::size_t i = 0; i < m_text.size(); ++i) {
        if (m_text[i] != '$') {
            literal += m_text[i];
            continue;
        }
        if (++i == m_text.size())
            break; // a lone '$' at the end is dropped
        const char code = m_text[i];
        if (std::string_view("sud$").find(code) == std::string_view::npos)
            throw std::invalid_argument("unrecognize expansion in '" + m_text + "'");
        m_asks_user |= code == 'u';
        m_asks_domain |= code == 'd';
        if (code == '$')
            literal += '$';
        else
            m_pieces.push_back({std::exchange(literal, {}), code});
    }
    m_pieces.push_back({literal, '\0'});
}

bool QueryTemplate::Expand(const KwLookupWithConfig& lookup, const KwLookupFinder& finder,
                           int flags, std::string& out) const {
    if (m_asks_user) {
        out.clear();
        lookup.ExpandUsername(finder, flags, KwLookupWithConfig::AssignValue, out);
        if (out.empty())
            return false;
    }
    if (m_asks_domain) {
        out.clear();
        lookup.ExpandDomain(finder, flags, KwLookupWithConfig::AssignValue, out);
        if (out.empty())
            return false;
    }
    out.clear();
    for (const Piece& piece : m_pieces) {
        out += piece.text;
        if (piece.code == 's') {
            const std::string_view text = ViewOf(finder.GetRequest());
            KwLookupWithConfig::AssignValue(text.data(), text.data() + text.size(), out, flags);
        } else if (piece.code == 'u') {
            lookup.ExpandUsername(finder, flags, KwLookupWithConfig::AssignValue, out);
        } else if (piece.code == 'd') {
            lookup.ExpandDomain(finder, flags, KwLookupWithConfig::AssignValue, out);
        }
    }
    return true;
}

} // namespace kwlookup
