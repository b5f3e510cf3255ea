// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>

namespace kwlookup {

/// Tells a user at a terminal how far it is, until it is destroyed.
class Progress {
public:
    Progress();
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void Show(std::size_t records);

private:
    const bool m_on_terminal;
    bool m_shown = false;
};

} // namespace kwlookup
