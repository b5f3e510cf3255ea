// SPDX-License-Identifier: MIT
#include "tools/lists/BoundedWarnings.h"

#include <exception>

namespace kwlookup {

namespace {

/// Enough to see what is wrong, and few enough to read.
constexpr std::size_t SHOWN_OF_A_KIND = 20;

} // namespace

BoundedWarnings::~BoundedWarnings() {
    try {
        for (const auto& [kind, count] : m_counts)
            if (count > SHOWN_OF_A_KIND)
                m_warnings.Report(m_name + ": " + std::to_string(count - SHOWN_OF_A_KIND) +
                                  " more " + kind);
    } catch (const std::exception&) { // out of memory: the first ones are shown already
    }
}

void BoundedWarnings::Add(const char* kind, const std::string& text) {
    if (++m_counts[kind] <= SHOWN_OF_A_KIND)
        m_warnings.Report(text);
    else
        m_warnings.Count();
}

} // namespace kwlookup
