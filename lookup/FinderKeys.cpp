// SPDX-License-Identifier: MIT
#include "lookup/FinderKeys.h"

#include <algorithm>
#include <cstring>

namespace kwlookup {

// A domain may be a megabyte of dots from a stranger: only endings of the sizes that there are, or
// with as many dots as there are.
void FinderKeys::AddEndings(std::string_view domain, bool with_dot) {
    if (m_sizes.size() <= m_most_dots) {
        for (const std::size_t size : m_sizes) {
            if (size >= domain.size())
                return;
            const std::size_t begin = domain.size() - size;
            if (with_dot ? size > 1 && domain[begin] == '.' : domain[begin - 1] == '.')
                Take(domain.substr(begin));
        }
        return;
    }
    if (domain.empty())
        return;
    std::size_t left = with_dot ? m_most_dots : m_most_dots + 1;
    const std::size_t reach = Longest() + (with_dot ? 0 : 1);
    const char* const end = domain.data() + domain.size();
    const char* const begin = end - std::min(domain.size(), reach);
    for (const char* dot = end; left != 0; --left) {
        dot =
            static_cast<const char*>(::memrchr(begin, '.', static_cast<std::size_t>(dot - begin)));
        if (!dot || (with_dot && dot == domain.data()))
            return;
        const char* const ending = with_dot ? dot : dot + 1;
        const auto size = static_cast<std::size_t>(end - ending);
        if (!with_dot || size > 1)
            Take(std::string_view(ending, size));
    }
}

} // namespace kwlookup
