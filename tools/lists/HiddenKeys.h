// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <deque>
#include <string>
#include <string_view>
#include <unordered_map>

namespace kwlookup {

/// Finds the keys of a list that never answer a search by address, because an earlier key matches
/// every text that they match.
///
/// Cost: about half a microsecond and 100 bytes a key. Threads: one.
class HiddenKeys {
public:
    struct Earlier {
        std::size_t line = 0; ///< 0: none
        bool same = false;    ///< it is the same key
    };

    /// Returns the line of a key that hides `key`. Notes `line` as that of `key` unless an earlier
    /// line has the same key.
    Earlier Add(std::string_view key, std::size_t line);

private:
    std::size_t LineOf(std::string_view key) const;
    std::size_t LineThatHides(std::string_view key) const;
    std::string_view Keep(std::string_view key);

    std::unordered_map<std::string_view, std::size_t> m_lines;
    std::deque<std::string> m_texts; ///< the texts of the keys, which never move
    bool m_has_locals = false;
    bool m_has_domains = false;
    bool m_has_parents = false;
};

} // namespace kwlookup
