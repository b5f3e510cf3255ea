// SPDX-License-Identifier: MIT
#pragma once

#include "host/LogClass.h"
#include "kwlog/Logging.h"

#include <spdlog/logger.h>
#include <spdlog/sinks/dist_sink.h>

#include <atomic>
#include <cstddef>
#include <memory>
#include <string>

namespace kwlookup {

/// The state that all LogClass objects share: the spdlog sink and the enabled level.
///
/// Threads: any.
class LogBackend {
public:
    /// Returns the one object of the process. It is never freed, so that objects destroyed at exit
    /// can still log.
    static LogBackend& Instance();

    static spdlog::level::level_enum SpdlogLevel(log4cxx::Level::LevelEnum level);

    bool IsEnabled(log4cxx::Level::LevelEnum level) const {
        return level <= m_level.load(std::memory_order_relaxed);
    }

    void CountError() { m_errors.fetch_add(1, std::memory_order_relaxed); }
    std::size_t GetErrorCount() const { return m_errors.load(std::memory_order_relaxed); }

    std::shared_ptr<spdlog::logger> MakeLogger(const std::string& name) const;

    /// See SetLogging().
    void Set(LogTarget target, log4cxx::Level::LevelEnum level, const std::string& name);

private:
    /// Passes each event to the sink of the current target.
    class TargetSink : public spdlog::sinks::dist_sink_mt {
    public:
        /// Removes the old sink first: the destructor of a syslog sink closes the log for all.
        void EnterSyslog(const std::string& name);

        /// Takes the lock under which lines are written. A fork takes it too, so that it is never
        /// locked in the child by a thread that is gone.
        void Lock() { mutex_.lock(); }
        void Unlock() { mutex_.unlock(); }
    };

    static void BeforeFork() { Instance().m_sink->Lock(); }
    static void AfterFork() { Instance().m_sink->Unlock(); }

    LogBackend();

    std::shared_ptr<TargetSink> m_sink;
    std::atomic<std::size_t> m_errors{0};
    std::atomic<int> m_level{log4cxx::Level::LEVEL_WARN};
};

} // namespace kwlookup
