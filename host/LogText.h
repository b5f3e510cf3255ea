// SPDX-License-Identifier: MIT
#pragma once

#include "host/LogClass.h"

#include <string>

namespace kwlookup {

/// Writes `text` through `log`. A NUL byte in it would end the message early, so it is written as
/// the two characters "\0".
inline void LogText(const LogClass& log, log4cxx::Level::LevelEnum level, const std::string& text) {
    if (text.find('\0') == std::string::npos) {
        log.forcedLog(level, text.c_str());
        return;
    }
    std::string visible;
    for (char c : text) {
        if (c == '\0')
            visible += "\\0";
        else
            visible += c;
    }
    log.forcedLog(level, visible.c_str());
}

} // namespace kwlookup
