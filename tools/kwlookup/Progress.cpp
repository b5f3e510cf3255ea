// SPDX-License-Identifier: MIT
#include "Progress.h"

#include <cstdio>
#include <unistd.h>

namespace kwlookup {

Progress::Progress() : m_on_terminal(::isatty(STDERR_FILENO) == 1) {}

Progress::~Progress() {
    if (m_shown)
        std::fputs("\r\x1b[K", stderr);
}

void Progress::Show(std::size_t records) {
    if (!m_on_terminal)
        return;
    std::fprintf(stderr, "\r%zu records", records);
    m_shown = true;
}

} // namespace kwlookup
