// SPDX-License-Identifier: MIT
#pragma once

#include "families/sql/SelectQuery.h"
#include "plugins/mysql/MysqlConfig.h"

#include <string>

namespace kwlookup {

/// The statement of an item for MariaDB and MySQL. The condition's column is selected too, after
/// the others, so that each answer shows its type.
class MysqlQuery : public SelectQuery {
public:
    MysqlQuery(const std::string& text, const MysqlConfig& config)
        : SelectQuery(text, '`', "?", static_cast<std::size_t>(config.GetVal<int>("MaxRows")),
                      SelectStatement::Columns::AndCondition) {}
};

} // namespace kwlookup
