// SPDX-License-Identifier: MIT
#pragma once

#include "host/LogText.h"

#include <string>
#include <string_view>

/// Writes `what` and `reason` at error level. A logger that fails must not cost what the caller
/// still has to do.
inline void LogErrorNoThrow(const LogClass& log, std::string_view what,
                            std::string_view reason) noexcept {
    try {
        if (log.isErrorEnabled())
            LogText(log, log4cxx::Level::LEVEL_ERROR, std::string(what).append(reason));
    } catch (...) {
    }
}
