// SPDX-License-Identifier: MIT
#include "lookup/FinderKeys.h"

#include "text/Platform.h"

#include <algorithm>

namespace kwlookup {

// An untrusted domain may be a megabyte of dots. So the loops go over the sizes, or the dots, that
// stored values can have.
void FinderKeys::AddEndings(std::string_view domain, bool with_dot) {
    const std::size_t most_dots = m_most_dots & ~NEED_AT;
    if (m_sizes.size() <= most_dots) {
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
    std::size_t left = with_dot ? most_dots : most_dots + 1;
    const std::size_t reach = GetLongest() + (with_dot ? 0 : 1);
    const std::string_view reached = domain.substr(domain.size() - std::min(domain.size(), reach));
    for (std::size_t dot = reached.size(); left != 0; --left) {
        dot = FindLastByte(reached.substr(0, dot), '.');
        const bool at_begin = dot == 0 && reached.size() == domain.size();
        if (dot == std::string_view::npos || (with_dot && at_begin))
            return;
        const std::string_view ending = reached.substr(with_dot ? dot : dot + 1);
        if (!with_dot || ending.size() > 1)
            Take(ending);
    }
}

} // namespace kwlookup
