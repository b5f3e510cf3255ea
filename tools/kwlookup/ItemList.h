// SPDX-License-Identifier: MIT
#pragma once

#include "host/LogClass.h"
#include "lookup/KwLookupHolder.h"

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

/// An object list, item by item: each in a holder of its own, so that an answer can be traced to
/// its item. The library has told what is wrong with an item that failed.
class ItemList {
public:
    struct Item {
        std::string text;
        std::unique_ptr<KwLookupHolder> holder;
        /// It was not loaded, or a list in its settings, or in those of its type, has errors.
        bool failed;

        /// The file whose lines are its stored values; empty where there is none.
        std::string File() const;
    };

    /// Keeps the address of `log`. Throws std::invalid_argument "the list [LIST] cannot be read:
    /// REASON" when it cannot be split.
    ItemList(const std::string& list, const LogClass& log);

    const std::vector<Item>& Items() const { return m_items; }
    std::size_t FailedCount() const;

private:
    std::vector<Item> m_items;
};
