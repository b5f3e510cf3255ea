// SPDX-License-Identifier: MIT
#pragma once

#include "host/LogText.h"

#include <exception>
#include <new>
#include <string>

/// Tells the user what went wrong, as one line on standard error.
inline void TellError(const LogClass& log, const std::string& text) {
    LogText(log, log4cxx::Level::LEVEL_ERROR, text);
}

/// Tells the user what should be looked at, in the same way.
inline void TellWarning(const LogClass& log, const std::string& text) {
    LogText(log, log4cxx::Level::LEVEL_WARN, text);
}

/// What the exception that is being handled says; a plug-in may throw anything.
inline std::string CaughtReason() {
    try {
        throw;
    } catch (const std::bad_alloc&) {
        return "out of memory";
    } catch (const std::exception& error) {
        return error.what();
    } catch (...) {
        return "something was thrown that is no std::exception";
    }
}
