// SPDX-License-Identifier: MIT
#pragma once

#include "lookup/config/KwLookupWithConfig.h"

#include <stdexcept>
#include <string>
#include <string_view>

namespace kwlookup {

/// Splits a template into its parts, in order. Calls `on_text` with each literal text, which is "$"
/// for the code "$$", and `on_code` with the letter of each other code. Throws
/// std::invalid_argument "unrecognize expansion in 'TEXT'" at a letter that is not a code.
template <typename OnText, typename OnCode>
void ScanTemplate(std::string_view text, OnText on_text, OnCode on_code) {
    for (std::string_view rest = text; !rest.empty();) {
        const std::size_t dollar = rest.find('$');
        on_text(rest.substr(0, dollar));
        if (dollar == std::string_view::npos || dollar + 1 == rest.size())
            return; // a lone '$' at the end is dropped
        const char code = rest[dollar + 1];
        if (code == '$')
            on_text(rest.substr(dollar, 1));
        else if (code == 's' || code == 'u' || code == 'd')
            on_code(code);
        else
            throw std::invalid_argument("unrecognize expansion in '" + std::string(text) + "'");
        rest.remove_prefix(dollar + 2);
    }
}

/// Appends the text for a code, through `func`.
inline void ExpandCode(char code, const KwLookupWithConfig& lookup, const KwLookupFinder& finder,
                       int flags, KwLookupWithConfig::ExpandOutputFunc func, std::string& out) {
    if (code == 'u')
        return lookup.ExpandUsername(finder, flags, func, out);
    if (code == 'd')
        return lookup.ExpandDomain(finder, flags, func, out);
    const std::string_view text = ViewOf(finder.GetRequest());
    func(text.data(), text.data() + text.size(), out, flags);
}

} // namespace kwlookup
