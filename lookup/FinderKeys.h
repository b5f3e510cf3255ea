// SPDX-License-Identifier: MIT
#pragma once

#include "host/KwExport.h"

#include <cstddef>
#include <string_view>
#include <vector>

namespace kwlookup {

/// Collects the keys of a KeyedFinder, for a list that looks them up in its index.
///
/// Keys whose size no stored value has are dropped. A finder that could make many keys of one text,
/// such as one for each label of a domain, calls AddEndings(), or makes no key longer than
/// GetLongest(). The cost of a search then depends on the list, not on the text.
class KW_EXPORT FinderKeys {
public:
    FinderKeys(const FinderKeys&) = delete;
    FinderKeys& operator=(const FinderKeys&) = delete;

    /// Adds one key. `key` must be valid as long as the finder. Throws std::bad_alloc only.
    void Add(std::string_view key) {
        if (key.size() <= GetLongest())
            Take(key);
    }

    /// Adds each ending of `domain` that follows a dot. With `with_dot`, adds each ending
    /// that begins with a dot, and is longer than that, instead. `domain` itself is not added.
    /// Throws std::bad_alloc only. The cost does not depend on the text. It is proportional to the
    /// number of different sizes of stored values, or to the most dots in a stored value, whichever
    /// is less.
    void AddEndings(std::string_view domain, bool with_dot);

    /// Adds a whole stored value, which may hold white space: stored values that equal it as a
    /// whole have a key, also under FirstWord. `value` must be valid as long as the finder. Throws
    /// std::bad_alloc only.
    void AddWholeValue(std::string_view value) { TakeWholeValue(value); }

    /// Returns the size of the longest key that a stored value can equal.
    std::size_t GetLongest() const { return m_sizes.empty() ? 0 : m_sizes.back(); }

    /// Returns true when stored values equal only keys with an '@', so that others need not be
    /// added.
    bool NeedAt() const { return (m_most_dots & NEED_AT) != 0; }

protected:
    /// `sizes` are the sizes, in ascending order, of the keys that stored values can equal.
    /// None of these keys has more than `most_dots` dots. With `need_at` each has an '@'.
    FinderKeys(const std::vector<std::size_t>& sizes, std::size_t most_dots, bool need_at = false)
        : m_sizes(sizes), m_most_dots((most_dots & ~NEED_AT) | (need_at ? NEED_AT : 0)) {}
    ~FinderKeys() = default;

private:
    static constexpr std::size_t NEED_AT = ~(~std::size_t(0) >> 1);

    virtual void Take(std::string_view key) = 0;
    virtual void TakeWholeValue(std::string_view value) = 0;

    const std::vector<std::size_t>& m_sizes;
    /// With NEED_AT in it, since the layout of this class is part of the binary interface.
    const std::size_t m_most_dots;
};

} // namespace kwlookup
