// SPDX-License-Identifier: MIT
#pragma once

#include "host/LogText.h"

#include <exception>
#include <string>

namespace kwlookup {

/// Logs a fault if there is memory for it. What follows must be done in any case.
inline void LogFault(const char* text, const std::exception& fault) noexcept {
    try {
        LogText(LogClass("kwlookupd"), log4cxx::Level::LEVEL_ERROR,
                std::string(text) + fault.what());
    } catch (const std::exception&) {
    }
}

} // namespace kwlookup
