// SPDX-License-Identifier: MIT
#pragma once

#include "host/LogClass.h"
#include "lookup/KwLookupHolder.h"

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

/// An object list, item by item: each in a holder of its own, so that an answer can be traced to
/// its item. The library has told what is wrong with an item that was not loaded.
class ItemList {
public:
    struct Item {
        std::string text;
        std::unique_ptr<KwLookupHolder> holder;

        bool Loaded() const { return !holder->Empty(); }
        /// What names the object of a loaded item: the file of a file lookup.
        std::string Description() const { return holder->GetObjects().front().GetDescription(); }
    };

    /// Keeps the address of `log`. Throws std::invalid_argument "the list [LIST] cannot be read:
    /// REASON" when it cannot be split.
    ItemList(const std::string& list, const LogClass& log);

    const std::vector<Item>& Items() const { return m_items; }
    std::size_t FailedCount() const;

private:
    std::vector<Item> m_items;
};
