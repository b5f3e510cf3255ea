// SPDX-License-Identifier: MIT
#include "plugins/sqlite/SqliteConfig.h"

#include <algorithm>
#include <stdexcept>

namespace kwlookup {

namespace {

constexpr int MAX_TIMEOUT_S = 86400; // a day: no mail waits longer for an answer

} // namespace

void SqliteConfig::PostInit() {
    DatabaseConfig::PostInit();
    m_timeout.CheckRange(0, MAX_TIMEOUT_S);
    m_search_time.CheckRange(0, MAX_TIMEOUT_S * 1000);
    if (m_max_rows.GetOwn() < 1)
        throw std::invalid_argument("MaxRows must be at least 1");
}

int SqliteConfig::GetSearchTime() const {
    const int milliseconds = m_search_time.Get();
    return milliseconds > 0 ? milliseconds : std::max(GetTimeout(), 1) * 1000;
}

} // namespace kwlookup
