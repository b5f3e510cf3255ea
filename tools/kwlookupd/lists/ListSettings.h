// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <string>

namespace kwlookup {

/// The settings of a list, from its section [list NAME].
struct ListSettings {
    enum class Search {
        Address,    ///< the keys of an address: itself, its domain, parent domains, local part
        Domain,     ///< the domain of the text, and its parents
        Exact,      ///< the text, byte for byte
        ExactNoCase ///< the text, in any letter case
    };

    std::string name;
    std::string objects; ///< the object list
    Search search = Search::Address;
    /// The characters that begin an extension of a local part, such as "+". Empty: there is none.
    std::string sub_address;
    bool idn = false;         ///< ask both forms of international domain names
    unsigned max_shrink = 20; ///< by how many percent a reload may make the list shorter
    std::chrono::milliseconds settle{2000}; ///< how long a changed file must rest before a reload
    /// Searches of servers that take longer are logged. Zero: none.
    std::chrono::milliseconds slow_time{0};
    /// Warn of lines of files that are probably not read as intended. It takes longer.
    bool check_lines = false;
};

} // namespace kwlookup
