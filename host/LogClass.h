// SPDX-License-Identifier: MIT
#pragma once

#include "host/KwExport.h"

#include <memory>
#include <string>

namespace log4cxx {

/// The level enumeration of the logging facade; the lookup library passes these three values only.
class Level {
public:
    /// How bad an event is; the lower, the worse.
    enum LevelEnum { LEVEL_ERROR = 2, LEVEL_WARN = 3, LEVEL_DEBUG = 5 };
};

} // namespace log4cxx

/// The host's logger: the one road on which the library and its plug-ins write messages.
///
/// The library tests a level first and builds a message only when the test passed, so a level
/// that is off costs one call. Copies share the state of the original.
///
/// libkwlog.so implements this class on spdlog (see kwlog/Logging.h). A host with a logging library
/// of its own defines the members declared here, `LogClass::State` included, in its executable or
/// in another libkwlog.so: they take the place of ours when the program is linked.
///
/// Threads: one object may be used by any number of threads at once; assignment is not guarded.
class KW_EXPORT LogClass {
public:
    /// `name` says in each line who writes; a logger with an empty name has no level enabled.
    /// Throws std::bad_alloc only.
    LogClass(const std::string& name);
    /// A copy shares the state.
    LogClass(const LogClass&) = default;
    /// As the copy.
    LogClass& operator=(const LogClass&) = default;
    ~LogClass() = default;

    /// True when events of level debug are written.
    bool isDebugEnabled() const;
    /// True when events of level warning are written.
    bool isWarnEnabled() const;
    /// True when events of level error are written.
    bool isErrorEnabled() const;

    /// Writes `text`, NUL-terminated bytes of any value, as one line, whatever level is enabled.
    void forcedLog(log4cxx::Level::LevelEnum level, const char* text) const;

private:
    struct State;
    std::shared_ptr<const State> m_state;
};
