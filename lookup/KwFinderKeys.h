// SPDX-License-Identifier: MIT
#pragma once

#include "host/KwExport.h"

#include <cstddef>
#include <string_view>

/// Takes the keys of a KwKeyedFinder, on behalf of a list that looks for them in its index.
///
/// Keys that no stored value can equal are dropped. A finder that can make many keys of one text,
/// such as one for each label of a domain, stops at Longest() and Deepest(), so that no text makes
/// a search slow; AddEndings() does.
class KW_EXPORT KwFinderKeys {
public:
    KwFinderKeys(const KwFinderKeys&) = delete;
    KwFinderKeys& operator=(const KwFinderKeys&) = delete;

    /// Adds one key. `key` must stay valid as long as the finder. Throws std::bad_alloc only.
    void Add(std::string_view key) {
        if (key.size() <= m_longest)
            Take(key);
    }

    /// Adds the endings of `domain` that follow a dot, or `with_dot` those that begin with one,
    /// shortest first. The whole of `domain` is no such ending. Throws std::bad_alloc only.
    void AddEndings(std::string_view domain, bool with_dot);

    /// The size of the longest key that a stored value can equal.
    std::size_t Longest() const { return m_longest; }

    /// The number of dots in the deepest such key.
    std::size_t Deepest() const { return m_deepest; }

protected:
    KwFinderKeys(std::size_t longest, std::size_t deepest)
        : m_longest(longest), m_deepest(deepest) {}
    ~KwFinderKeys() = default;

private:
    virtual void Take(std::string_view key) = 0;

    const std::size_t m_longest;
    const std::size_t m_deepest;
};
