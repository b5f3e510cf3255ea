// SPDX-License-Identifier: MIT
#pragma once

#include "tools/lists/Warnings.h"

#include <cstddef>
#include <map>
#include <string>
#include <utility>

namespace kwlookup {

/// Reports the warnings about one file or list: the first ones of each kind, then the number of the
/// others.
class BoundedWarnings {
public:
    /// Keeps the address of `warnings`. `name` is the name of the file.
    BoundedWarnings(Warnings& warnings, std::string name)
        : m_warnings(warnings), m_name(std::move(name)) {}
    /// Reports how many more there were of each kind.
    ~BoundedWarnings();
    BoundedWarnings(const BoundedWarnings&) = delete;
    BoundedWarnings& operator=(const BoundedWarnings&) = delete;

    /// Report `text`. `kind` is a plural noun for what is counted.
    void Add(const char* kind, const std::string& text);
    /// Report "NAME:LINE: TEXT".
    void Add(std::size_t line, const char* kind, const std::string& text) {
        Add(kind, m_name + ":" + std::to_string(line) + ": " + text);
    }

private:
    Warnings& m_warnings;
    const std::string m_name;
    std::map<std::string, std::size_t> m_counts;
};

} // namespace kwlookup
