// SPDX-License-Identifier: MIT
#pragma once

#include "lookup/config/TypeConfig.h"

#include <stdexcept>
#include <string>
#include <vector>

namespace kwlookup {

/// The parameter of every plug-in that searches a database file: Database, its name.
class DatabaseConfig : public TypeConfig {
public:
    using TypeConfig::TypeConfig;

    std::vector<params_t> GetParams() const override {
        return {Param("Database", &m_database, IfConfParser::VT_STRING)};
    }

    /// Throws std::invalid_argument "Database is not set".
    const std::string& GetDatabase() const {
        const std::string& name = GetVal<std::string>("Database");
        if (name.empty())
            throw std::invalid_argument("Database is not set");
        return name;
    }

private:
    std::string m_database;
};

} // namespace kwlookup
