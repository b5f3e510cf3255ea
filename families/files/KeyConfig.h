// SPDX-License-Identifier: MIT
#pragma once

#include "families/files/DatabaseConfig.h"

#include <string>

namespace kwlookup {

/// The parameters of plug-ins that search a file of keys and values: Database, LowerCase, AllValues
/// and TrailingNul.
class KeyConfig : public DatabaseConfig {
public:
    /// Whether the keys in the file end in a NUL byte.
    enum class Nul { No, Yes, Both };

    using DatabaseConfig::DatabaseConfig;

    /// Throws std::invalid_argument "Wrong TrailingNul setting [VALUE]: wait 'no', 'yes' or
    /// 'both'", and what the base class throws.
    void PostInit() override;

    bool GetLowerCase() const { return m_lower_case.Get(); }
    bool GetAllValues() const { return m_all_values.Get(); }
    Nul GetTrailingNul() const;

private:
    Parameter<bool> m_lower_case{*this, "LowerCase", true};
    Parameter<bool> m_all_values{*this, "AllValues", false};
    Parameter<std::string> m_trailing_nul{*this, "TrailingNul", "no"};
};

} // namespace kwlookup
