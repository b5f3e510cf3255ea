// SPDX-License-Identifier: MIT
#include "host/LogClass.h"

#include "kwlog/LogBackend.h"
#include "kwlog/Logging.h"

#include <algorithm>
#include <cstring>
#include <string>

struct LogClass::State {
    std::shared_ptr<spdlog::logger> logger;

    /// A logger without a name is silent.
    bool IsEnabled(log4cxx::Level::LevelEnum level) const {
        return !logger->name().empty() && LogBackend::Instance().IsEnabled(level);
    }
};

namespace {

/// The longest line, its end included, so that every syslog passes it on: those of old took 1,024
/// bytes with their header.
constexpr std::size_t LONGEST_LINE = 1000;

/// `text` as `logger` writes it, in what the line has left for it.
std::string Message(const spdlog::logger& logger, const std::string& text) {
    const std::size_t around = logger.name().size() + std::strlen(": warning: \n");
    const std::string mark = "... (" + std::to_string(text.size()) + " bytes)";
    const std::size_t room = LONGEST_LINE - std::min(LONGEST_LINE, around + mark.size());
    std::string message = PrintableText(text.substr(0, LONGEST_LINE));
    if (message.size() <= room + mark.size() && text.size() <= LONGEST_LINE)
        return message;
    message.resize(std::min(message.size(), room));
    // No \xHH is cut in two.
    const std::size_t escape = message.rfind('\\');
    if (escape != std::string::npos && escape + 4 > message.size())
        message.resize(escape);
    return message + mark;
}

} // namespace

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
    m_state->logger->log(LogBackend::SpdlogLevel(level),
                         Message(*m_state->logger, WithoutSecrets(text)));
}
