// SPDX-License-Identifier: MIT
#pragma once

#include "text/DirectoryWatch.h"
#include "text/FileDescriptor.h"
#include "tools/kwlookupd/lists/ListKeeper.h"

#include <atomic>
#include <chrono>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace kwlookup {

/// Loads lists aside, in a thread of its own: when it is asked to, and when their files have
/// changed.
///
/// A changed file is loaded when it has rested for the time Settle of its list. Changes are noticed
/// at once where the system reports them, and otherwise by looking at the files now and then.
///
/// A load that failed is tried again, because descriptors or memory may have run out, or a server
/// or a table may have been missing. The text of the fault does not tell whether that may help, so
/// all are tried, at growing intervals.
class Reloader {
public:
    /// Keeps the reference. `loaded` is called in the reloader's thread after each load, and
    /// `prepare` by Prepare(). A load that failed is tried again after `retry`, and then after
    /// twice the time before, up to 15 minutes.
    Reloader(ListKeeper& lists,
             std::function<void(std::size_t number, const ListKeeper::LoadResult& result)> loaded,
             std::function<void()> prepare, std::chrono::milliseconds retry = RETRY);
    /// Waits for the load that is running.
    ~Reloader();
    Reloader(const Reloader&) = delete;
    Reloader& operator=(const Reloader&) = delete;

    /// Starts the thread. Lists are loaded by nobody else from then on.
    void Start();

    /// Loads all lists, without `force`. If it is asked for again before it begins, it loads them
    /// once. Threads: any. Throws nothing.
    void ReloadAll() noexcept;

    /// Calls `job` in the reloader's thread. Threads: any.
    void Post(std::function<void()> job);

    /// Gets ready for loads that somebody asks for. For jobs only.
    void Prepare() { m_prepare(); }
    /// Loads a list. For jobs only.
    ListKeeper::LoadResult Load(std::size_t number, bool force);

private:
    using Time = std::chrono::steady_clock::time_point;

    /// Each failed load is logged, and no fault more than once a minute.
    static constexpr std::chrono::minutes RETRY{1};

    /// The files of a list when they were looked at last.
    struct Seen {
        std::vector<FileStamp> files;
        Time since;                     ///< when they became like this
        std::chrono::milliseconds wait; ///< until a failed load is tried again
        Time loaded{};                  ///< when they were loaded last
    };

    void Run();
    void TakeTurn();
    void Wake() noexcept;
    std::function<void()> TakeJob();
    Time LookAtFiles(Time now);
    void WatchDirectories();

    ListKeeper& m_lists;
    const std::function<void(std::size_t, const ListKeeper::LoadResult&)> m_loaded;
    const std::function<void()> m_prepare;
    const std::chrono::milliseconds m_retry;
    DirectoryWatch m_watch;
    bool m_must_watch = true; ///< the directories may be others now
    bool m_watches_all = false;
    std::vector<Seen> m_seen;
    FileDescriptor m_wake_read;
    FileDescriptor m_wake_write;
    std::atomic<bool> m_reload_all{false};
    std::mutex m_lock;
    std::deque<std::function<void()>> m_jobs;
    bool m_stop = false;
    std::thread m_thread;
};

} // namespace kwlookup
