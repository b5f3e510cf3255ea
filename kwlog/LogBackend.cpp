// SPDX-License-Identifier: MIT
#include "kwlog/LogBackend.h"

#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/sinks/stdout_sinks.h>
#include <spdlog/sinks/syslog_sink.h>

#include <mutex>
#include <pthread.h>
#include <stdexcept>
#include <syslog.h>

namespace kwlookup {

namespace {

constexpr char EVENT_PATTERN[] = "%n: %l: %v";

spdlog::sink_ptr MakeStandardErrorSink() {
    auto sink = std::make_shared<spdlog::sinks::stderr_sink_mt>();
    sink->set_pattern(EVENT_PATTERN);
    return sink;
}

spdlog::sink_ptr MakeFileSink(const std::string& name) {
    try {
        auto sink = std::make_shared<spdlog::sinks::basic_file_sink_mt>(name);
        sink->set_pattern("%Y-%m-%dT%H:%M:%S.%e%z %n: %l: %v");
        return sink;
    } catch (const spdlog::spdlog_ex& error) {
        throw std::runtime_error(error.what());
    }
}

spdlog::sink_ptr MakeSyslogSink(const std::string& name) {
    auto sink = std::make_shared<spdlog::sinks::syslog_sink_mt>(name, LOG_PID, LOG_MAIL, true);
    const std::string no_end_of_line;
    sink->set_formatter(std::make_unique<spdlog::pattern_formatter>(
        EVENT_PATTERN, spdlog::pattern_time_type::local, no_end_of_line));
    return sink;
}

} // namespace

void LogBackend::TargetSink::EnterSyslog(const std::string& name) {
    const std::lock_guard<std::mutex> lock(mutex_);
    sinks_.clear();
    sinks_.push_back(MakeSyslogSink(name));
}

LogBackend::LogBackend() : m_sink(std::make_shared<TargetSink>()) {
    m_sink->add_sink(MakeStandardErrorSink());
    ::pthread_atfork(BeforeFork, AfterFork, AfterFork);
}

LogBackend& LogBackend::Instance() {
    static LogBackend* const backend = new LogBackend;
    return *backend;
}

spdlog::level::level_enum LogBackend::SpdlogLevel(log4cxx::Level::LevelEnum level) {
    if (level == LEVEL_NOTICE)
        return spdlog::level::info;
    switch (level) {
    case log4cxx::Level::LEVEL_DEBUG:
        return spdlog::level::debug;
    case log4cxx::Level::LEVEL_WARN:
        return spdlog::level::warn;
    default:
        return spdlog::level::err;
    }
}

std::shared_ptr<spdlog::logger> LogBackend::MakeLogger(const std::string& name) const {
    auto logger = std::make_shared<spdlog::logger>(PrintableText(name), m_sink);
    logger->set_level(spdlog::level::trace);
    logger->flush_on(spdlog::level::trace);
    return logger;
}

void LogBackend::Set(LogTarget target, log4cxx::Level::LevelEnum level, const std::string& name) {
    switch (target) {
    case LogTarget::StandardError:
        m_sink->set_sinks({MakeStandardErrorSink()});
        break;
    case LogTarget::Syslog:
        m_sink->EnterSyslog(name);
        break;
    case LogTarget::File:
        m_sink->set_sinks({MakeFileSink(name)});
        break;
    }
    m_level.store(level, std::memory_order_relaxed);
}

} // namespace kwlookup
