// SPDX-License-Identifier: MIT
#pragma once

#include "host/KwExport.h"

#include <cstddef>
#include <string_view>
#include <vector>

namespace kwlookup {

/// Takes the keys of a KeyedFinder, on behalf of a list that looks for them in its index.
///
/// Keys that no stored value can equal, by their size, are dropped. A finder that can make many
/// keys of one text, such as one for each label of a domain, uses AddEndings(), or makes none that
/// is longer than GetLongest(), so that the list bounds the cost, not the text.
class KW_EXPORT FinderKeys {
public:
    FinderKeys(const FinderKeys&) = delete;
    FinderKeys& operator=(const FinderKeys&) = delete;

    /// Adds one key. `key` must stay valid as long as the finder. Throws std::bad_alloc only.
    void Add(std::string_view key) {
        if (key.size() <= GetLongest())
            Take(key);
    }

    /// Adds the endings of `domain` that follow a dot, or `with_dot` those that begin with one and
    /// have more than it. The whole of `domain` is no such ending. Throws std::bad_alloc only.
    /// Cost: by the number of different sizes that stored values have, or of the dots in the one
    /// that has most, whichever is less; not by the text.
    void AddEndings(std::string_view domain, bool with_dot);

    /// Adds a value as it may be stored, white space and all: what equals it as a whole has a key,
    /// whatever GetKeyPart() says. `value` must stay valid as long as the finder. Throws
    /// std::bad_alloc only.
    void AddWholeValue(std::string_view value) { TakeWholeValue(value); }

    /// The size of the longest key that a stored value can equal.
    std::size_t GetLongest() const { return m_sizes.empty() ? 0 : m_sizes.back(); }

protected:
    /// `sizes`, from the least to the greatest, are those of the keys that stored values can equal,
    /// and none of these has more dots than `most_dots`.
    FinderKeys(const std::vector<std::size_t>& sizes, std::size_t most_dots)
        : m_sizes(sizes), m_most_dots(most_dots) {}
    ~FinderKeys() = default;

private:
    virtual void Take(std::string_view key) = 0;
    virtual void TakeWholeValue(std::string_view value) = 0;

    const std::vector<std::size_t>& m_sizes;
    const std::size_t m_most_dots;
};

} // namespace kwlookup
