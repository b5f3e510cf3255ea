// SPDX-License-Identifier: MIT
#pragma once

#include "tools/kwlookupd/doors/Query.h"
#include "tools/kwlookupd/doors/Reply.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace kwlookup {

class ListGeneration;

/// Threads that ask lists whose answers take time. Threads: any may add jobs.
class Workers {
public:
    struct Job {
        Query query;
        std::vector<std::shared_ptr<const ListGeneration>> lists; ///< of each ask; may be null
        std::shared_ptr<std::atomic<std::size_t>> asked; ///< gets the number of the current ask
        /// Then the job is dropped, even if a worker has begun it: its client has got an answer.
        std::chrono::steady_clock::time_point deadline;
        /// Called in the worker's thread with the answer. May throw std::bad_alloc.
        std::function<void(std::vector<Reply> replies)> done;
    };

    /// Throws std::system_error if a thread cannot be started.
    explicit Workers(std::size_t threads);
    /// Drops the jobs that wait, and waits for those that were begun. The plug-ins limit their
    /// time.
    ~Workers();
    Workers(const Workers&) = delete;
    Workers& operator=(const Workers&) = delete;

    /// Adds a job. False if too many are waiting.
    bool Add(Job job);

private:
    /// As many jobs wait for one worker, so that the memory of jobs is bounded. With an answer a
    /// millisecond, the last of them would be answered after the usual AnswerTime.
    static constexpr std::size_t MAX_WAITING = 1000;

    void Stop();
    void Work();

    std::mutex m_lock;
    std::condition_variable m_added;
    std::deque<Job> m_jobs;
    bool m_stopped = false;
    std::vector<std::thread> m_threads;
};

} // namespace kwlookup
