// SPDX-License-Identifier: MIT
#pragma once

#include "lookup/config/Parameter.h"

#include <string>

/// The parameters of the type: those of every configuration (OnError, SkipDomains) and one more.
class PathConfig : public kwlookup::TypeConfig {
public:
    /// `global` is the configuration that this one inherits from; null for the type-wide one.
    explicit PathConfig(const PathConfig* global) : TypeConfig("lookup_path", global) {}

private:
    /// The result text of a match; empty when nobody sets it.
    kwlookup::Parameter<std::string> m_result{*this, "Result"};
};
