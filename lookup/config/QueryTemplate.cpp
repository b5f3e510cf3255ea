// SPDX-License-Identifier: MIT
#include "lookup/config/QueryTemplate.h"

#include "lookup/config/TemplateCodes.h"

#include <stdexcept>
#include <string_view>
#include <utility>

namespace kwlookup {

QueryTemplate::QueryTemplate(std::string text) : m_text(std::move(text)) {
    if (m_text.find('\0') != std::string::npos)
        throw std::invalid_argument("the template holds a NUL byte");
    std::string literal;
    ScanTemplate(
        m_text, [&](std::string_view piece) { literal += piece; },
        [&](char code) {
            m_asks_user |= code == 'u';
            m_asks_domain |= code == 'd';
            m_pieces.push_back({std::exchange(literal, {}), code});
        });
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
        if (piece.code != '\0')
            ExpandCode(piece.code, lookup, finder, flags, KwLookupWithConfig::AssignValue, out);
    }
    return true;
}

} // namespace kwlookup
