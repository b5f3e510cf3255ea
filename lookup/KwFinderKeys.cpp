// SPDX-License-Identifier: MIT
#include "lookup/KwFinderKeys.h"

void KwFinderKeys::AddEndings(std::string_view domain, bool with_dot) {
    std::size_t dots = 0; // in the ending at hand
    // A domain may be a megabyte from a stranger: never look further back than a key can reach.
    const std::size_t reach = m_longest < domain.size() ? m_longest + 1 : domain.size();
    for (std::size_t size = 1; size <= reach; ++size) {
        const std::size_t begin = domain.size() - size;
        if (domain[begin] != '.')
            continue;
        if (with_dot) {
            if (++dots > m_deepest || size > m_longest)
                return;
            if (begin != 0)
                Take(domain.substr(begin));
        } else {
            if (dots++ > m_deepest || size - 1 > m_longest)
                return;
            Take(domain.substr(begin + 1));
        }
    }
}
