// SPDX-License-Identifier: MIT
#pragma once

#include "host/LogClass.h"
#include "lookup/KwLookupHolder.h"
#include "tools/lists/Warnings.h"

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace kwlookup {

/// How much of a list is checked when it is loaded.
struct ListChecks {
    Warnings::Mode warnings = Warnings::Mode::Print;
    bool whole_files = false; ///< check every line of the files, not only the first
    bool hints = true;        ///< print what to write in place of a wrong item
    bool open = false;        ///< ask every plug-in, so that it opens its database
};

/// An object list with each item in a holder of its own, so that an answer can be traced to its
/// item.
class ItemList {
public:
    struct Item {
        std::string text;
        std::unique_ptr<KwLookupHolder> holder;
        /// The item was not loaded, a list in its settings or in those of its type has errors, its
        /// database cannot be opened, or it has warnings that count as errors. The error has been
        /// reported.
        bool failed;

        /// Empty for a literal value.
        std::string GetType() const;
        bool IsPlugin() const;

        /// The file whose lines are its stored values; empty if there is none.
        std::string GetFile() const;
    };

    /// Loads the items and reports errors and warnings. Keeps the address of `log`. Throws
    /// std::invalid_argument "the list [LIST] cannot be read: REASON" if it cannot be split.
    ItemList(const std::string& list, const LogClass& log, const ListChecks& checks);

    const std::vector<Item>& GetItems() const { return m_items; }
    std::size_t GetFailedCount() const;
    bool HasPlugins() const;

private:
    std::vector<Item> m_items;
};

} // namespace kwlookup
