// SPDX-License-Identifier: MIT
#pragma once

#include "lookup/config/TypeConfig.h"

#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>

namespace kwlookup {

/// A parameter of a plug-in type. It is a member of a TypeConfig and registers itself there.
///
///     class PathConfig : public TypeConfig {
///         ...
///         Parameter<std::string> m_result{*this, "Result"};
///         Parameter<Time> m_timeout{*this, "Timeout", 5};
///     };
///
/// `Kind` determines its C++ type and how a text is converted to it; see ParameterKind.h.
///
/// Threads: see KwLookupSharedConf.
template <typename Kind>
class Parameter {
public:
    /// The C++ type of the value.
    using Value = ParameterValue<Kind>;

    /// Makes a parameter without a default. It is zero, false or empty until it is set. Keeps the
    /// pointer `name`, which must be a literal.
    Parameter(TypeConfig& config, const char* name) : m_config(config), m_name(name) {
        config.AddRow<Kind>(name, m_value, nullptr);
    }

    /// Makes a parameter with the value `def` until it is set. An empty text sets a number or a
    /// bool to `def` again.
    Parameter(TypeConfig& config, const char* name, Value def)
        : m_config(config), m_name(name), m_default(std::move(def)), m_value(m_default) {
        config.AddRow<Kind>(name, m_value, &m_default);
    }

    Parameter(const Parameter&) = delete;
    Parameter& operator=(const Parameter&) = delete;

    /// Returns the effective value: that of the nearest configuration in the chain that sets it.
    /// Searches by name, so call it once, when the lookup is loaded.
    const Value& Get() const { return m_config.GetVal<Value>(m_name); }

    /// Returns the value in this configuration itself, for PostInit() to check.
    const Value& GetOwn() const { return m_value; }

    /// Checks the value in this configuration itself; call it in PostInit(). Throws
    /// std::invalid_argument "NAME must be from LEAST to MOST", for a Time followed by " seconds".
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
