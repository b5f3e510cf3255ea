// SPDX-License-Identifier: MIT
#pragma once

#include "tools/kwlookupd/doors/Query.h"
#include "tools/kwlookupd/doors/Reply.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace kwlookup {

class ListGeneration;

/// Threads that ask lists whose answers take time.
///
/// At most half of them ask the same list, and at most a quarter explain answers, but always one.
/// So a server that hangs does not delay the answers of others. Jobs that must wait for that are
/// overtaken by others; otherwise they are done in their order. Threads: any may add jobs.
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
    /// As many jobs wait for one worker that may do them, so that the memory of jobs is bounded.
    /// With an answer a millisecond, the last of them would be answered after the usual AnswerTime.
    static constexpr std::size_t MAX_WAITING = 1000;

    /// What workers are limited for: numbers of lists, and EXPLAINING. Sorted.
    using Uses = std::vector<std::size_t>;
    static constexpr std::size_t EXPLAINING = static_cast<std::size_t>(-1);

    struct Waiting {
        std::uint64_t number; ///< in the order in which jobs were added
        Uses uses;
        Job job;
    };
    using Queues = std::map<Uses, std::deque<Waiting>>;

    void Stop();
    void Work();
    void Do(const Job& job) const;
    static Uses GetUses(const Job& job);
    std::size_t GetMost(std::size_t use) const;
    bool MayBegin(const Uses& uses) const;
    Queues::iterator FindNext();

    std::mutex m_lock;
    std::condition_variable m_added;
    Queues m_queues;
    std::size_t m_waiting = 0; ///< jobs in all queues
    std::uint64_t m_added_count = 0;
    std::map<std::size_t, std::size_t> m_busy; ///< workers for each use that a job ever had
    bool m_stopped = false;
    const std::size_t m_count;
    std::vector<std::thread> m_threads;
};

} // namespace kwlookup
