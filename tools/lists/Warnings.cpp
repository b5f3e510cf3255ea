// SPDX-License-Identifier: MIT
#include "tools/lists/Warnings.h"

#include "host/LogText.h"

namespace kwlookup {

void Warnings::Report(const std::string& text) {
    if (m_mode == Mode::Off)
        return;
    LogText(m_log, log4cxx::Level::LEVEL_WARN, text);
    Count();
}

} // namespace kwlookup
