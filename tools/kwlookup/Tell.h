// SPDX-License-Identifier: MIT
#pragma once

#include "host/LogText.h"

/// Tells the user what went wrong, as one line on standard error.
inline void TellError(const LogClass& log, const std::string& text) {
    LogText(log, log4cxx::Level::LEVEL_ERROR, text);
}

/// Tells the user what should be looked at, in the same way.
inline void TellWarning(const LogClass& log, const std::string& text) {
    LogText(log, log4cxx::Level::LEVEL_WARN, text);
}
