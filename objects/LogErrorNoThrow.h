// SPDX-License-Identifier: MIT
#pragma once

#include "host/LogText.h"

#include <initializer_list>
#include <string>
#include <string_view>

/// Writes the pieces, one after the other, at error level. A logger that fails, or too little
/// memory for the text, must not cost what the caller still has to do.
inline void LogErrorNoThrow(const LogClass& log,
                            std::initializer_list<std::string_view> pieces) noexcept {
    try {
        if (!log.isErrorEnabled())
            return;
        std::string text;
        for (const std::string_view piece : pieces)
            text += piece;
        LogText(log, log4cxx::Level::LEVEL_ERROR, text);
    } catch (...) {
    }
}
