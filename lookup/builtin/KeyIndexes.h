// SPDX-License-Identifier: MIT
#pragma once

#include "lookup/builtin/KeyIndex.h"
#include "lookup/builtin/MadeOnce.h"

/// The indexes of keys that the searches of one list need: for each part of a value, in the order
/// of the list and in that of its sort. Each is made by the first search that needs it.
class KeyIndexes {
public:
    /// Null before it is made.
    const KeyIndex* Get(KwKeyedFinder::KeyPart part, bool sorted) const {
        return m_indexes[part][sorted].Get();
    }

    /// The index of `strings` in `order`, or as they are listed where that is null. What
    /// KeyIndex throws leaves it unmade.
    const KeyIndex& GetOrMake(const std::vector<std::string>& strings, const SortedOrder* order,
                              KwKeyedFinder::KeyPart part, const LocaleBytes& bytes) const {
        return m_indexes[part][order != nullptr].GetOrMake(
            [&] { return std::make_unique<const KeyIndex>(strings, order, part, bytes); });
    }

    void Reset() {
        for (auto& of_part : m_indexes)
            for (auto& index : of_part)
                index.Reset();
    }

private:
    MadeOnce<KeyIndex> m_indexes[2][2];
};
