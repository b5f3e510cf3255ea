// SPDX-License-Identifier: MIT
#pragma once

#include "families/files/DatabaseConfig.h"

#include <vector>

namespace kwlookup {

/// The parameters Database, Timeout, in seconds, SearchTime, in milliseconds, and MaxRows.
class SqliteConfig : public DatabaseConfig {
public:
    static constexpr char NAME[] = "lookup_sqlite";

    explicit SqliteConfig(const SqliteConfig* global) : DatabaseConfig(NAME, global) {}

    std::vector<params_t> GetParams() const override;

    /// Throws std::invalid_argument "Timeout must be from 0 to 86400 seconds", "SearchTime must be
    /// from 0 to 86400000" and "MaxRows must be at least 1" besides what the base throws.
    void PostInit() override;

    int GetTimeout() const { return GetVal<int>("Timeout"); }
    /// Where it is 0, that of Timeout, but a second at least.
    int GetSearchTime() const;
    int GetMaxRows() const { return GetVal<int>("MaxRows"); }

private:
    static constexpr int TIMEOUT_S = 2;
    static constexpr int SEARCH_TIME_MS = 0;
    static constexpr int MAX_ROWS = 100;

    int m_timeout = TIMEOUT_S;
    int m_search_time = SEARCH_TIME_MS;
    int m_max_rows = MAX_ROWS;
};

} // namespace kwlookup
