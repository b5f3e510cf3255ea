// SPDX-License-Identifier: MIT
#pragma once

#include "families/files/CurrentFile.h"
#include "families/files/KeyConfig.h"
#include "families/files/PerThread.h"
#include "lookup/config/PluginLookup.h"
#include "lookup/config/QueryTemplate.h"
#include "lookup/config/Values.h"
#include "text/AsciiLower.h"

#include <cstdint>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

namespace kwlookup {

/// Base of plug-ins that search a file of keys and values for the expanded template. After a match,
/// *matched is the key.
///
/// `Config` derives from KeyConfig. `Database` is an open file, used by one thread at a time. It
/// has a constructor from the name of the file, `bool IsCurrent() const`, and `bool
/// Find(std::string_view key, bool all, Values& values)`, which adds the value of the first record
/// with that key, or of all of them. An exception of theirs makes the search fail.
///
/// Threads: any number may search at once. Each has the file open for itself.
template <typename Config, typename Database>
class KeyLookup : public PluginLookup<Config> {
public:
    using PluginLookup<Config>::PluginLookup;

    /// The template.
    std::string GetDescription() const override {
        return m_table ? m_table->key.GetText() : std::string();
    }

protected:
    void Load(const std::string& text) override {
        m_table = std::make_unique<const Table>(text, this->GetConfig());
    }

    bool Search(const KwLookupFinder& finder, int flags, std::string* res,
                std::string* matched) const override {
        const Table& table = *m_table;
        // Keeps its memory between searches.
        static thread_local std::string key;
        if (!table.key.Expand(*this, finder, flags, key))
            return false;
        // The lengths in these files have 32 bits, and a NUL byte may be added.
        if (key.size() >= std::numeric_limits<std::uint32_t>::max())
            throw std::length_error("the key is too long");
        if (table.lower_case)
            key = AsciiLowerCase(std::move(key));
        Database& database =
            table.files.Get().Get([&table] { return std::make_unique<Database>(table.name); });

        std::string result;
        Values values(res ? &result : nullptr);
        bool found = false;
        if (table.nul != KeyConfig::Nul::Yes)
            found = database.Find(key, table.all_values, values);
        if (table.nul != KeyConfig::Nul::No && (!found || table.all_values)) {
            key += '\0';
            Values ended = values.WithoutNul();
            found |= database.Find(key, table.all_values, ended);
            key.pop_back();
        }
        if (!found)
            return false;
        if (res)
            *res = std::move(result);
        if (matched)
            *matched = key;
        return true;
    }

private:
    struct Table {
        Table(const std::string& text, const KeyConfig& config)
            : key(text), name(config.GetDatabase()), lower_case(config.GetLowerCase()),
              all_values(config.GetAllValues()), nul(config.GetTrailingNul()) {}

        QueryTemplate key;
        std::string name;
        bool lower_case;
        bool all_values;
        KeyConfig::Nul nul;
        PerThread<CurrentFile<Database>> files;
    };

    std::unique_ptr<const Table> m_table;
};

} // namespace kwlookup
