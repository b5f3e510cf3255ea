// SPDX-License-Identifier: MIT
#include "host/LogBackend.h"

#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/sinks/stdout_sinks.h>
#include <spdlog/sinks/syslog_sink.h>

#include <stdexcept>
#include <syslog.h>

namespace {

spdlog::sink_ptr MakeSink(LogTarget target, const std::string& name) {
    spdlog::sink_ptr sink;
    switch (target) {
    case LogTarget::StandardError:
        sink = std::make_shared<spdlog::sinks::stderr_sink_mt>();
        sink->set_pattern("%n: %l: %v");
        break;
    case LogTarget::Syslog:
        sink = std::make_shared<spdlog::sinks::syslog_sink_mt>(name, LOG_PID, LOG_MAIL, true);
        sink->set_pattern("%n: %l: %v");
        break;
    case LogTarget::File:
        try {
            sink = std::make_shared<spdlog::sinks::basic_file_sink_mt>(name);
        } catch (const spdlog::spdlog_ex& error) {
            throw std::runtime_error(error.what());
        }
        sink->set_pattern("%Y-%m-%dT%H:%M:%S.%e%z %n: %l: %v");
        break;
    }
    return sink;
}

} // namespace

LogBackend::LogBackend() : m_sink(std::make_shared<spdlog::sinks::dist_sink_mt>()) {
    m_sink->add_sink(MakeSink(LogTarget::StandardError, std::string()));
}

LogBackend& LogBackend::Instance() {
    static LogBackend* const backend = new LogBackend;
    return *backend;
}

spdlog::level::level_enum LogBackend::SpdlogLevel(log4cxx::Level::LevelEnum level) {
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
    auto logger = std::make_shared<spdlog::logger>(name, m_sink);
    logger->set_level(spdlog::level::trace);
    logger->flush_on(spdlog::level::trace);
    return logger;
}

void LogBackend::Set(LogTarget target, log4cxx::Level::LevelEnum level, const std::string& name) {
    m_sink->set_sinks({MakeSink(target, name)});
    m_level.store(level, std::memory_order_relaxed);
}
