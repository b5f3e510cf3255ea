// SPDX-License-Identifier: MIT
#pragma once

#include "host/LogClass.h"
#include "host/Logging.h"

#include <spdlog/logger.h>
#include <spdlog/sinks/dist_sink.h>

#include <atomic>
#include <cstddef>
#include <memory>
#include <string>

/// The one place behind every LogClass: the spdlog sink they share, and the level that is enabled.
///
/// Threads: any.
class LogBackend {
public:
    /// Made on first use and never freed, so that objects destroyed at exit can still write.
    static LogBackend& Instance();

    static spdlog::level::level_enum SpdlogLevel(log4cxx::Level::LevelEnum level);

    bool IsEnabled(log4cxx::Level::LevelEnum level) const {
        return level <= m_level.load(std::memory_order_relaxed);
    }

    void CountError() { m_errors.fetch_add(1, std::memory_order_relaxed); }
    std::size_t ErrorCount() const { return m_errors.load(std::memory_order_relaxed); }

    std::shared_ptr<spdlog::logger> MakeLogger(const std::string& name) const;

    /// See SetLogging().
    void Set(LogTarget target, log4cxx::Level::LevelEnum level, const std::string& name);

private:
    /// Hands each event on to the sink of the current target.
    class TargetSink : public spdlog::sinks::dist_sink_mt {
    public:
        /// The old sink goes first: the end of a syslog sink forgets the name of a later one.
        void EnterSyslog(const std::string& name);
    };

    LogBackend();

    std::shared_ptr<TargetSink> m_sink;
    std::atomic<std::size_t> m_errors{0};
    std::atomic<int> m_level{log4cxx::Level::LEVEL_WARN};
};
