// SPDX-License-Identifier: MIT
#include "lookup/KwFinderKeys.h"

void KwFinderKeys::AddEndings(std::string_view domain, bool with_dot) {
    // A domain may be a megabyte of dots from a stranger: only endings of the sizes that there are.
    for (const std::size_t size : m_sizes) {
        if (size >= domain.size())
            return;
        const std::size_t begin = domain.size() - size;
        if (with_dot ? size != 0 && domain[begin] == '.' : domain[begin - 1] == '.')
            Take(domain.substr(begin));
    }
}
