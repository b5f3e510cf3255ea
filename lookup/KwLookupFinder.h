// SPDX-License-Identifier: MIT
#pragma once

#include "host/KwExport.h"

#include <boost/range/iterator_range_core.hpp>

#include <string>
#include <string_view>

namespace kwlookup {

/// A range of characters inside a string that somebody else owns.
using TextRange = boost::iterator_range<std::string::const_iterator>;

/// The characters of `text`.
inline std::string_view ViewOf(const TextRange& text) {
    return text.empty() ? std::string_view("") : std::string_view(&text.front(), text.size());
}

} // namespace kwlookup

/// The request of one search: what is searched, and whether a stored value matches it.
///
/// The caller of a search makes it, owns it, and uses it in one thread for that one search. The
/// operations are const; a finder that keeps a result of its own keeps it in mutable members.
/// Slot order is part of the binary interface.
class KW_EXPORT KwLookupFinder {
public:
    virtual ~KwLookupFinder() = default;

    /// True when `value`, one stored value of a lookup, matches the request.
    virtual bool Match(const std::string& value) const = 0;

    /// The searched text, for example a mail address. Valid as long as the finder lives.
    virtual kwlookup::TextRange GetRequest() const = 0;

    /// The result that the finder itself produced while values were tested; empty here.
    virtual std::string GetRes() const;

    /// Forgets that result; does nothing here.
    virtual void ClearRes() const;
};
