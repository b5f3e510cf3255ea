// SPDX-License-Identifier: MIT
#include "host/OwnLog.h"

#include "host/LogClass.h"

// The LogClass of a host with its own logging library: all of its members, and the host's State.

namespace {

std::vector<std::string>& AllLines() {
    static std::vector<std::string> lines;
    return lines;
}

} // namespace

struct LogClass::State {
    std::string name;
};

LogClass::LogClass(const std::string& name) : m_state(std::make_shared<State>(State{name})) {}

bool LogClass::isDebugEnabled() const {
    return true;
}

bool LogClass::isWarnEnabled() const {
    return true;
}

bool LogClass::isErrorEnabled() const {
    return true;
}

void LogClass::forcedLog(log4cxx::Level::LevelEnum level, const char* text) const {
    AllLines().push_back(std::to_string(level) + " " + m_state->name + " " + text);
}

std::vector<std::string> OwnLogLines() {
    return std::move(AllLines());
}
