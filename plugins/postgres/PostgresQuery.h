// SPDX-License-Identifier: MIT
#pragma once

#include "families/sql/SelectQuery.h"
#include "plugins/postgres/PostgresConfig.h"

#include <string>

namespace kwlookup {

/// The statement of an item for PostgreSQL.
class PostgresQuery : public SelectQuery {
public:
    PostgresQuery(const std::string& text, const PostgresConfig& config)
        : SelectQuery(text, '"', "$1", static_cast<std::size_t>(config.GetVal<int>("MaxRows"))) {}
};

} // namespace kwlookup
