// SPDX-License-Identifier: MIT
#pragma once

#include "host/LogText.h"

/// Tells the user what went wrong, as one line on standard error.
inline void TellError(const LogClass& log, const std::string& text) {
    LogText(log, log4cxx::Level::LEVEL_ERROR, text);
}
