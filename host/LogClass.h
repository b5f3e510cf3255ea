// SPDX-License-Identifier: MIT
#pragma once

#include "host/KwExport.h"

#include <memory>
#include <string>

namespace log4cxx {

/// Holds the levels of the logging facade.
class Level {
public:
    /// The severity of an event; a lower number is worse. The library uses these three only.
    enum LevelEnum { LEVEL_ERROR = 2, LEVEL_WARN = 3, LEVEL_DEBUG = 5 };
};

} // namespace log4cxx

/// The host's logger. The library and its plug-ins write every message through it:
///
///     if (log.isWarnEnabled())
///         log.forcedLog(log4cxx::Level::LEVEL_WARN, text.c_str());
///
/// The library tests the level before it builds a message, so a disabled level costs one call.
///
/// libkwlog.so implements this class on spdlog (see kwlog/Logging.h). A host with a logging library
/// of its own defines the members declared here, `LogClass::State` included, in its executable or
/// in another libkwlog.so. Its definitions replace ours when the program is linked.
///
/// Threads: one object may be used by any number of threads at once; assignment is not guarded.
class KW_EXPORT LogClass {
public:
    /// Makes a logger whose lines begin with `name`. With an empty name no level is enabled.
    /// Throws std::bad_alloc only.
    LogClass(const std::string& name);
    /// The copy shares the state of the original.
    LogClass(const LogClass&) = default;
    /// Shares the state of the other logger from now on.
    LogClass& operator=(const LogClass&) = default;
    ~LogClass() = default;

    /// Returns true when debug events are written.
    bool isDebugEnabled() const;
    /// Returns true when warnings are written.
    bool isWarnEnabled() const;
    /// Returns true when errors are written.
    bool isErrorEnabled() const;

    /// Writes `text` as one line, even when `level` is disabled. `text` ends with a NUL and may
    /// hold any other byte.
    void forcedLog(log4cxx::Level::LevelEnum level, const char* text) const;

private:
    struct State;
    std::shared_ptr<const State> m_state;
};
