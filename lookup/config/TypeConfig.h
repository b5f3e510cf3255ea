// SPDX-License-Identifier: MIT
#pragma once

#include "lookup/config/KwLookupSharedConf.h"
#include "lookup/config/ParameterKind.h"

#include <string>
#include <vector>

namespace kwlookup {

template <typename Kind>
class Parameter;

/// A configuration of a plug-in type that knows its parameters and what it inherits from. A plug-in
/// derives its own, and gives it members of the class Parameter.
class KW_EXPORT TypeConfig : public KwLookupSharedConf {
public:
    /// `name` is the section, "lookup_TYPE". `global` is the type-wide configuration for the local
    /// one of a single lookup, which it must outlive, and null for the type-wide one itself.
    TypeConfig(const std::string& name, const TypeConfig* global)
        : KwLookupSharedConf(name), m_global(global) {}

    /// Throws std::invalid_argument "NAME must be at most LIMIT" or "NAME must be from LEAST to
    /// MOST" for a number that the parameter cannot hold, besides what the base throws.
    void LoadLocal(const std::vector<std::string>& settings) override;

    /// The parameters that are members of this object.
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
