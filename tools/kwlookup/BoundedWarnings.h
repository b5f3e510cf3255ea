// SPDX-License-Identifier: MIT
#pragma once

#include "Warnings.h"

#include <cstddef>
#include <map>
#include <string>
#include <utility>

namespace kwlookup {

/// The warnings of one file or list: the first ones of each kind, and how many more there are.
class BoundedWarnings {
public:
    /// Keeps the address of `warnings`. `name` is that of the file.
    BoundedWarnings(Warnings& warnings, std::string name)
        : m_warnings(warnings), m_name(std::move(name)) {}
    /// Tells how many more there were of each kind.
    ~BoundedWarnings();
    BoundedWarnings(const BoundedWarnings&) = delete;
    BoundedWarnings& operator=(const BoundedWarnings&) = delete;

    /// Tells `text`; `kind` names what is counted.
    void Add(const char* kind, const std::string& text);
    /// Tells "NAME:LINE: TEXT".
    void Add(std::size_t line, const char* kind, const std::string& text) {
        Add(kind, m_name + ":" + std::to_string(line) + ": " + text);
    }

private:
    Warnings& m_warnings;
    const std::string m_name;
    std::map<std::string, std::size_t> m_counts;
};

} // namespace kwlookup
