// SPDX-License-Identifier: MIT
#pragma once

#include "lookup/config/KwLookupSharedConf.h"

#include <string>
#include <vector>

namespace kwlookup {

/// A configuration of a plug-in type that knows what it inherits from.
class KW_EXPORT TypeConfig : public KwLookupSharedConf {
public:
    /// `name` is the section, "lookup_TYPE". `global` is the type-wide configuration for the local
    /// one of a single lookup, which it must outlive, and null for the type-wide one itself.
    TypeConfig(const std::string& name, const TypeConfig* global)
        : KwLookupSharedConf(name), m_global(global) {}

    /// Throws std::invalid_argument "NAME must be at most LIMIT" or "NAME must be from LEAST to
    /// MOST" for a number that the parameter cannot hold, besides what the base throws.
    void LoadLocal(const std::vector<std::string>& settings) override;

    const KwLookupSharedConf* GetGlobal() const override { return m_global ? m_global : this; }

private:
    const TypeConfig* m_global;
};

} // namespace kwlookup
