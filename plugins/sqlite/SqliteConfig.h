// SPDX-License-Identifier: MIT
#pragma once

#include "families/files/DatabaseConfig.h"

namespace kwlookup {

/// Parameters: Database, Timeout (in seconds), SearchTime (in milliseconds) and MaxRows.
class SqliteConfig : public DatabaseConfig {
public:
    static constexpr char NAME[] = "lookup_sqlite";

    explicit SqliteConfig(const SqliteConfig* global) : DatabaseConfig(NAME, global) {}

    /// Throws std::invalid_argument "Timeout must be from 0 to 86400 seconds", "SearchTime must be
    /// from 0 to 86400000" and "MaxRows must be at least 1", and what the base class throws.
    void PostInit() override;

    int GetTimeout() const { return m_timeout.Get(); }
    /// If SearchTime is 0, the value of Timeout, but at least one second.
    int GetSearchTime() const;
    int GetMaxRows() const { return m_max_rows.Get(); }

private:
    Parameter<Time> m_timeout{*this, "Timeout", 2};
    Parameter<int> m_search_time{*this, "SearchTime", 0};
    Parameter<int> m_max_rows{*this, "MaxRows", 100};
};

} // namespace kwlookup
