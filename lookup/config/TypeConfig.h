// SPDX-License-Identifier: MIT
#pragma once

#include "lookup/config/KwLookupSharedConf.h"
#include "lookup/config/ParameterKind.h"

#include <string>
#include <vector>

namespace kwlookup {

template <typename Kind>
class Parameter;

/// The base of the configurations of plug-ins. A plug-in derives its own and declares its
/// parameters as members:
///
///     class PathConfig : public kwlookup::TypeConfig {
///     public:
///         static constexpr char NAME[] = "lookup_path";
///         explicit PathConfig(const PathConfig* global) : TypeConfig(NAME, global) {}
///         const std::string& GetResult() const { return m_result.Get(); }
///
///     private:
///         kwlookup::Parameter<std::string> m_result{*this, "Result"};
///     };
class KW_EXPORT TypeConfig : public KwLookupSharedConf {
public:
    /// `name` is the section, "lookup_TYPE". `global` is the type-wide configuration, which must
    /// outlive this one, or null if this is the type-wide configuration.
    TypeConfig(const std::string& name, const TypeConfig* global)
        : KwLookupSharedConf(name), m_global(global) {}

    /// Throws what the base throws, and std::invalid_argument "NAME must be at most LIMIT" or "NAME
    /// must be from LEAST to MOST" for a number that is out of range for its C++ type.
    void LoadLocal(const std::vector<std::string>& settings) override;

    /// Returns the parameters that are members of this object.
    std::vector<params_t> GetParams() const override { return m_rows; }

    const KwLookupSharedConf* GetGlobal() const override { return m_global ? m_global : this; }

private:
    template <typename Kind>
    friend class Parameter;

    template <typename Kind>
    void AddRow(const char* name, const ParameterValue<Kind>& var,
                const ParameterValue<Kind>* def) {
        m_rows.push_back(Param<Kind>(name, var, def));
    }

    const TypeConfig* m_global;
    std::vector<params_t> m_rows;
};

} // namespace kwlookup
