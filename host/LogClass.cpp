// SPDX-License-Identifier: MIT
#include "host/LogClass.h"

#include "host/LogBackend.h"
#include "host/Logging.h"

struct LogClass::State {
    std::shared_ptr<spdlog::logger> logger;
};

LogClass::LogClass(const std::string& name)
    : m_state(std::make_shared<State>(State{LogBackend::Instance().MakeLogger(name)})) {}

bool LogClass::isDebugEnabled() const {
    return LogBackend::Instance().IsEnabled(log4cxx::Level::LEVEL_DEBUG);
}

bool LogClass::isWarnEnabled() const {
    return LogBackend::Instance().IsEnabled(log4cxx::Level::LEVEL_WARN);
}

bool LogClass::isErrorEnabled() const {
    return LogBackend::Instance().IsEnabled(log4cxx::Level::LEVEL_ERROR);
}

void LogClass::forcedLog(log4cxx::Level::LevelEnum level, const char* text) const {
    m_state->logger->log(LogBackend::SpdlogLevel(level), PrintableText(text));
}
