// SPDX-License-Identifier: MIT
#pragma once

#include "lookup/config/KwLookupSharedConf.h"

#include <string>
#include <vector>

/// The parameters of the type: those of every configuration (OnError, SkipDomains) and one more.
class PathConfig : public KwLookupSharedConf {
public:
    /// `global` is the configuration that this one inherits from; null for the type-wide one.
    explicit PathConfig(const PathConfig* global)
        : KwLookupSharedConf("lookup_path"), m_global(global) {}

    /// `Result` is the result text of a match; empty when nobody sets it.
    std::vector<params_t> GetParams() const override {
        return {Param("Result", &m_result, IfConfParser::VT_STRING)};
    }

    const KwLookupSharedConf* GetGlobal() const override { return m_global ? m_global : this; }

private:
    const PathConfig* m_global;
    std::string m_result;
};
