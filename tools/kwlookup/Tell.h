// SPDX-License-Identifier: MIT
#pragma once

#include "host/LogText.h"
#include "kwlog/Logging.h"

#include <string>

namespace kwlookup {

/// A text from elsewhere as a message quotes it: a long one ends with "..." and its length, so that
/// what the message says after it is not cut off with the rest of the line.
inline std::string Shortened(const std::string& whole) {
    constexpr std::size_t LONGEST = 200;      // fits in a line with each byte as \xHH
    std::string text = WithoutSecrets(whole); // now: half a secret would not be found later
    if (text.size() <= LONGEST)
        return text;
    return text.substr(0, LONGEST) + "... (" + std::to_string(text.size()) + " bytes)";
}

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

} // namespace kwlookup
