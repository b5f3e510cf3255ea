// SPDX-License-Identifier: MIT
#pragma once

#include "Warnings.h"
#include "host/LogClass.h"
#include "lookup/KwLookupHolder.h"

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace kwlookup {

/// How far a list is looked into when it is loaded.
struct ListChecks {
    Warnings::Mode warnings = Warnings::Mode::Tell;
    bool whole_files = false; ///< every line of the files, and not only how they begin
    bool open = false;        ///< every plug-in is asked a text, so that it opens its database
};

/// An object list, item by item: each in a holder of its own, so that an answer can be traced to
/// its item. The library has told what is wrong with an item that failed.
class ItemList {
public:
    struct Item {
        std::string text;
        std::unique_ptr<KwLookupHolder> holder;
        /// It was not loaded, or a list in its settings, or in those of its type, has errors, or
        /// it could not be opened, or has warnings that count as errors.
        bool failed;

        /// Empty for a literal value.
        std::string GetType() const;
        bool IsPlugin() const;

        /// The file whose lines are its stored values; empty where there is none.
        std::string GetFile() const;
    };

    /// Keeps the address of `log`. Throws std::invalid_argument "the list [LIST] cannot be read:
    /// REASON" when it cannot be split. Tells, too, what is probably not meant as it is read.
    ItemList(const std::string& list, const LogClass& log, const ListChecks& checks);

    const std::vector<Item>& GetItems() const { return m_items; }
    std::size_t GetFailedCount() const;
    bool HasPlugins() const;

private:
    std::vector<Item> m_items;
};

} // namespace kwlookup
