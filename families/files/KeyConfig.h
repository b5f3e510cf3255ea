// SPDX-License-Identifier: MIT
#pragma once

#include "families/files/DatabaseConfig.h"

#include <string>
#include <vector>

namespace kwlookup {

/// The parameters of plug-ins that search a file of keys and values: Database, LowerCase,
/// AllValues and TrailingNul.
class KeyConfig : public DatabaseConfig {
public:
    /// Whether the keys in the file end in a NUL byte.
    enum class Nul { NO, YES, BOTH };

    using DatabaseConfig::DatabaseConfig;

    std::vector<params_t> GetParams() const override;

    /// Throws std::invalid_argument "Wrong TrailingNul setting [VALUE]: wait 'no', 'yes' or 'both'"
    /// besides what the base throws.
    void PostInit() override;

    bool GetLowerCase() const { return GetVal<bool>("LowerCase"); }
    bool GetAllValues() const { return GetVal<bool>("AllValues"); }
    Nul GetTrailingNul() const;

private:
    bool m_lower_case = true;
    bool m_all_values = false;
    std::string m_trailing_nul;
};

} // namespace kwlookup
