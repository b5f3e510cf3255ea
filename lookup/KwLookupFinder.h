// SPDX-License-Identifier: MIT
#pragma once

#include "host/KwExport.h"

#include <boost/range/iterator_range_core.hpp>

#include <string>
#include <string_view>

namespace kwlookup {

/// A range of characters of a string that the range does not own.
using TextRange = boost::iterator_range<std::string::const_iterator>;

/// Returns the characters of `text`.
inline std::string_view ViewOf(const TextRange& text) {
    return text.empty() ? std::string_view("") : std::string_view(&text.front(), text.size());
}

} // namespace kwlookup

/// The request of one search. It holds the searched text and decides which stored values match.
///
///     class PrefixFinder : public KwLookupFinder {
///         ...
///         bool Match(const std::string& value) const override {
///             return m_text.compare(0, value.size(), value) == 0;
///         }
///     };
///
/// The caller makes and owns a finder, and uses it in one thread for one search. All operations are
/// const, so a finder with a result of its own keeps it in mutable members. Slot order is part of
/// the binary interface.
class KW_EXPORT KwLookupFinder {
public:
    virtual ~KwLookupFinder() = default;

    /// Returns true when the stored value `value` matches.
    virtual bool Match(const std::string& value) const = 0;

    /// Returns the searched text, for example a mail address. Valid as long as the finder.
    virtual kwlookup::TextRange GetRequest() const = 0;

    /// Returns the result that the finder made in Match(). This implementation returns an empty
    /// text.
    virtual std::string GetRes() const;

    /// Clears that result. This implementation does nothing.
    virtual void ClearRes() const;
};
