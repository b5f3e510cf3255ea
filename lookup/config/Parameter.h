// SPDX-License-Identifier: MIT
#pragma once

#include "lookup/config/TypeConfig.h"

#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>

namespace kwlookup {

/// A parameter of a plug-in type: a member of its TypeConfig, which registers itself there.
///
///     class PathConfig : public TypeConfig {
///         ...
///         Parameter<std::string> m_result{*this, "Result"};
///         Parameter<Time> m_timeout{*this, "Timeout", 5};
///     };
///
/// `Kind` says what it holds, and how text becomes its value; see ParameterKind.h.
///
/// Threads: as KwLookupSharedConf.
template <typename Kind>
class Parameter {
public:
    /// The C++ type of the value.
    using Value = ParameterValue<Kind>;

    /// A parameter without a default. It is zero, false or empty until somebody sets it.
    /// Keeps `name`, a literal.
    Parameter(TypeConfig& config, const char* name) : m_config(config), m_name(name) {
        config.AddRow<Kind>(name, m_value, nullptr);
    }

    /// It is `def` until somebody sets it. An empty text sets a number or a bool to `def`, too.
    Parameter(TypeConfig& config, const char* name, Value def)
        : m_config(config), m_name(name), m_default(std::move(def)), m_value(m_default) {
        config.AddRow<Kind>(name, m_value, &m_default);
    }

    Parameter(const Parameter&) = delete;
    Parameter& operator=(const Parameter&) = delete;

    /// The value that counts: that of the nearest configuration up the chain that sets it. Costs a
    /// search by name, so ask once, when the lookup is loaded.
    const Value& Get() const { return m_config.GetVal<Value>(m_name); }

    /// The value in this very configuration, which PostInit() checks.
    const Value& GetOwn() const { return m_value; }

    /// For PostInit(). Throws std::invalid_argument "NAME must be from LEAST to MOST" when the own
    /// value is not, with " seconds" added for a Time.
    void CheckRange(Value least, Value most) const {
        if (m_value < least || m_value > most)
            throw std::invalid_argument(std::string(m_name) + " must be from " +
                                        std::to_string(least) + " to " + std::to_string(most) +
                                        (std::is_same_v<Kind, Time> ? " seconds" : ""));
    }

private:
    const TypeConfig& m_config;
    const char* m_name;
    Value m_default{};
    Value m_value{};
};

} // namespace kwlookup
