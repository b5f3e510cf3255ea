// SPDX-License-Identifier: MIT
#pragma once

#include "host/LogText.h"
#include "kwlog/Logging.h"

#include <string>

namespace kwlookup {

/// A foreign text for a message. A long one is cut and ends with "..." and its length, so that the
/// rest of the message still fits in the line.
inline std::string Shortened(const std::string& whole) {
    constexpr std::size_t LONGEST = 200;      // fits in a line even with each byte as \xHH
    std::string text = WithoutSecrets(whole); // before it is cut: half a secret is not recognised
    if (text.size() <= LONGEST)
        return text;
    return text.substr(0, LONGEST) + "... (" + std::to_string(text.size()) + " bytes)";
}

#include <exception>
#include <new>
#include <string>

/// Report an error to the user, as one line on standard error.
inline void ReportError(const LogClass& log, const std::string& text) {
    LogText(log, log4cxx::Level::LEVEL_ERROR, text);
}

/// Report a warning in the same way.
inline void ReportWarning(const LogClass& log, const std::string& text) {
    LogText(log, log4cxx::Level::LEVEL_WARN, text);
}

/// Report what went well. Such lines are written at any level.
inline void ReportNotice(const LogClass& log, const std::string& text) {
    LogText(log, LEVEL_NOTICE, text);
}

/// The message of the exception being handled. A plug-in may throw anything.
inline std::string CaughtReason() {
    try {
        throw;
    } catch (const std::bad_alloc&) {
        return "out of memory";
    } catch (const std::exception& error) {
        return error.what();
    } catch (...) {
        return "an exception of unknown type was thrown";
    }
}

} // namespace kwlookup
