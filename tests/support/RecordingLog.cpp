// SPDX-License-Identifier: MIT
#include "support/RecordingLog.h"

#include <atomic>
#include <mutex>
#include <stdexcept>

namespace {

std::mutex g_lock;
std::vector<RecordingLog::Line> g_lines;
std::string g_fail_on;
std::atomic<int> g_level{log4cxx::Level::LEVEL_DEBUG};

} // namespace

struct LogClass::State {
    std::string name;

    bool IsEnabled(int level) const { return !name.empty() && g_level >= level; }
};

LogClass::LogClass(const std::string& name) : m_state(std::make_shared<State>(State{name})) {}

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
    const std::lock_guard<std::mutex> lock(g_lock);
    if (!g_fail_on.empty() && std::string(text).find(g_fail_on) != std::string::npos)
        throw std::runtime_error("log is full");
    g_lines.push_back({level, m_state->name, text});
}

void RecordingLog::Reset(log4cxx::Level::LevelEnum level) {
    const std::lock_guard<std::mutex> lock(g_lock);
    g_lines.clear();
    g_fail_on.clear();
    g_level = level;
}

void RecordingLog::Silence() {
    Reset();
    g_level = 0;
}

void RecordingLog::FailOn(const std::string& part) {
    const std::lock_guard<std::mutex> lock(g_lock);
    g_fail_on = part;
}

std::vector<RecordingLog::Line> RecordingLog::GetLines() {
    const std::lock_guard<std::mutex> lock(g_lock);
    return g_lines;
}

std::vector<std::string> RecordingLog::Texts(int level) {
    std::vector<std::string> texts;
    for (const Line& line : GetLines())
        if (line.level == level)
            texts.push_back(line.text);
    return texts;
}
