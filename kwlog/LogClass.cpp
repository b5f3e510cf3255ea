// SPDX-License-Identifier: MIT
#include "host/LogClass.h"

#include "kwlog/LogBackend.h"
#include "kwlog/Logging.h"

#include <algorithm>
#include <cstring>
#include <string>

using namespace kwlookup;

struct LogClass::State {
    std::shared_ptr<spdlog::logger> logger;

    /// A logger without a name is silent.
    bool IsEnabled(log4cxx::Level::LevelEnum level) const {
        return !logger->name().empty() && LogBackend::Instance().IsEnabled(level);
    }
};

namespace {

/// The longest line, with its line end. Old syslog daemons take 1,024 bytes with their header.
constexpr std::size_t LONGEST_LINE = 1000;

/// How many bytes to keep of the end of a longer message, which has the reason of a failure.
constexpr std::size_t END = 200;

/// Returns the first `size` bytes of PrintableText(), or less in order not to split an \xHH.
std::string PrintableStart(const std::string& text, std::size_t size) {
    std::string start = PrintableText(text.substr(0, size));
    if (start.size() > size) {
        start.resize(size);
        const std::size_t escape = start.rfind('\\');
        if (escape != std::string::npos && escape + 4 > size)
            start.resize(escape);
    }
    return start;
}

/// Does the same with the last bytes.
std::string PrintableEnd(const std::string& text, std::size_t size) {
    std::string end = PrintableText(text.substr(text.size() - std::min(text.size(), size)));
    if (end.size() > size) {
        std::size_t begin = end.size() - size;
        const std::size_t escape = end.rfind('\\', begin);
        if (escape != std::string::npos && escape != begin && escape + 4 > begin)
            begin = escape + 4;
        end.erase(0, begin);
    }
    return end;
}

/// Returns `text` as `logger` writes it, shortened to the room on the line.
std::string Message(const spdlog::logger& logger, const std::string& text) {
    const std::size_t around = logger.name().size() + std::strlen(": warning: \n");
    const std::size_t room = LONGEST_LINE - std::min(LONGEST_LINE, around);
    if (text.size() <= room) {
        std::string message = PrintableText(text);
        if (message.size() <= room)
            return message;
    }
    const std::string mark = "... (" + std::to_string(text.size()) + " bytes) ...";
    const std::string end = PrintableEnd(text, END);
    const std::size_t taken = std::min(room, mark.size() + end.size());
    return PrintableStart(text, room - taken) + mark + end;
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
