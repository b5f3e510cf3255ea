// SPDX-License-Identifier: MIT
#include "plugins/sqlite/SqliteConfig.h"

#include <algorithm>
#include <stdexcept>

namespace kwlookup {

namespace {

constexpr int MAX_TIMEOUT_S = 86400;

} // namespace

std::vector<KwLookupSharedConf::params_t> SqliteConfig::GetParams() const {
    std::vector<params_t> params = DatabaseConfig::GetParams();
    params.push_back(Param("Timeout", &m_timeout, IfConfParser::VT_TIME, &TIMEOUT_S));
    params.push_back(Param("SearchTime", &m_search_time, IfConfParser::VT_INT, &SEARCH_TIME_MS));
    params.push_back(Param("MaxRows", &m_max_rows, IfConfParser::VT_INT, &MAX_ROWS));
    return params;
}

void SqliteConfig::PostInit() {
    DatabaseConfig::PostInit();
    if (m_timeout < 0 || m_timeout > MAX_TIMEOUT_S)
        throw std::invalid_argument("Timeout must be from 0 to 86400 seconds");
    if (m_search_time < 0 || m_search_time > MAX_TIMEOUT_S * 1000)
        throw std::invalid_argument("SearchTime must be from 0 to 86400000");
    if (m_max_rows < 1)
        throw std::invalid_argument("MaxRows must be at least 1");
}

int SqliteConfig::GetSearchTime() const {
    const int milliseconds = GetVal<int>("SearchTime");
    return milliseconds > 0 ? milliseconds : std::max(GetTimeout(), 1) * 1000;
}

} // namespace kwlookup
