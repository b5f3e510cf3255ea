// SPDX-License-Identifier: MIT
// A logger that replaces the one in libkwlog. It writes lines to standard error that begin with the
// level, as a service manager reads them.
#include "host/LogClass.h"
#include "kwlog/Logging.h"

#include <cstdio>

struct LogClass::State {
    std::string name;
};

LogClass::LogClass(const std::string& name) : m_state(std::make_shared<State>(State{name})) {}

bool LogClass::isDebugEnabled() const {
    return false;
}

// A logger without a name must be silent.
bool LogClass::isWarnEnabled() const {
    return !m_state->name.empty();
}

bool LogClass::isErrorEnabled() const {
    return !m_state->name.empty();
}

void LogClass::forcedLog(log4cxx::Level::LevelEnum level, const char* text) const {
    const int priority = level == log4cxx::Level::LEVEL_ERROR  ? 3
                         : level == log4cxx::Level::LEVEL_WARN ? 4
                                                               : 7;
    // The text may hold any bytes, but one event must stay one line.
    std::string line;
    for (const char c : kwlookup::WithoutSecrets(text))
        line += c >= 0x20 && c <= 0x7e ? c : '?';
    std::fprintf(stderr, "<%d>%s: %s\n", priority, m_state->name.c_str(), line.c_str());
}
