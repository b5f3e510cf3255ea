// SPDX-License-Identifier: MIT
#include "host/LogClass.h"

#include "host/LogBackend.h"
#include "host/Logging.h"

struct LogClass::State {
    std::shared_ptr<spdlog::logger> logger;

    /// A logger without a name is silent.
    bool IsEnabled(log4cxx::Level::LevelEnum level) const {
        return !logger->name().empty() && LogBackend::Instance().IsEnabled(level);
    }
};

LogClass::LogClass(const std::string& name)
    : m_state(std::make_shared<State>(State{LogBackend::Instance().MakeLogger(name)})) {}

bool LogClass::isDebugEnabled() const {
    return m_state->IsEnabled(log4cxx::Level::LEVEL_DEBUG);
}

bool LogClass::isWarnEnabled() const {
    return m_state->IsEnabled(log4cxx::Level::LEVEL_WARN);
}

bool LogClass::isErrorEnabled() const {
    return m_state->IsEnabled(log4cxx::Level::LEVEL_ERROR);
}

void LogClass::forcedLog(log4cxx::Level::LevelEnum level, const char* text) const {
    if (level == log4cxx::Level::LEVEL_ERROR)
        LogBackend::Instance().CountError();
    m_state->logger->log(LogBackend::SpdlogLevel(level), PrintableText(WithoutSecrets(text)));
}
