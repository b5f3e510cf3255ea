// SPDX-License-Identifier: MIT
#pragma once

#include "lookup/config/Parameter.h"

#include <stdexcept>
#include <string>

namespace kwlookup {

/// The parameter of every plug-in that searches a database file: Database, the name of the file.
class DatabaseConfig : public TypeConfig {
public:
    using TypeConfig::TypeConfig;

    /// Throws std::invalid_argument "Database is not set".
    const std::string& GetDatabase() const {
        const std::string& name = m_database.Get();
        if (name.empty())
            throw std::invalid_argument("Database is not set");
        return name;
    }

private:
    Parameter<std::string> m_database{*this, "Database"};
};

} // namespace kwlookup
