// SPDX-License-Identifier: MIT
#pragma once

#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kwlookup {

/// The path and the parameters of a request's target, decoded.
struct HttpTarget {
    std::vector<std::string> path; ///< the parts between the slashes; none for "/"
    std::vector<std::pair<std::string, std::string>> parameters;

    /// Splits "/PATH?NAME=VALUE&...". Empty if it has no leading slash, or a "%" without two
    /// hexadecimal digits. In a parameter of "/" a "+" is a blank, as browsers send forms.
    /// Elsewhere it is a plus, as in user+tag@example.com.
    static std::optional<HttpTarget> Parse(std::string_view target);

    /// Returns the value of a parameter; null if there is none.
    const std::string* Find(std::string_view name) const;
    bool HasTwice(std::string_view name) const;
    /// Returns true when each parameter has one of these names.
    bool HasOnly(std::initializer_list<std::string_view> names) const;
};

} // namespace kwlookup
