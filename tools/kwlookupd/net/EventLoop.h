// SPDX-License-Identifier: MIT
#pragma once

#include "text/FileDescriptor.h"
#include "tools/kwlookupd/doors/Door.h"
#include "tools/kwlookupd/lists/ListGeneration.h"
#include "tools/kwlookupd/net/Batch.h"
#include "tools/kwlookupd/net/Connection.h"
#include "tools/kwlookupd/net/LoopLoad.h"
#include "tools/kwlookupd/net/Poller.h"
#include "tools/kwlookupd/net/ServerSettings.h"
#include "tools/kwlookupd/net/Workers.h"
#include "tools/kwlookupd/status/Metrics.h"

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <vector>

namespace kwlookup {

/// Serves many connections in one thread.
///
/// Loops give connections to each other: one that cannot keep up to others, and those with little
/// to do to the first, since a thread that works on is quicker than several that sleep and are
/// woken.
///
/// Threads: Run() makes one the loop's; only Post() and GetBusy() may be called by others.
class EventLoop {
public:
    /// What connections use one after the other, so that a request allocates nothing.
    struct Scratch {
        Query query;
        std::vector<Reply> replies;
        Output output;
        /// As much is read at once; also what a connection keeps of it while it cannot go on.
        std::array<char, 65536> input;
    };

    /// Counts as the thread `number` of `metrics`, which may be null. `closed` is called, in the
    /// loop's thread, with the door of each connection that was closed. Keeps references. Throws
    /// std::system_error.
    EventLoop(const ServerSettings& settings, std::size_t number, Metrics* metrics,
              Workers& workers, std::function<void(std::size_t door)> closed);
    ~EventLoop();
    EventLoop(const EventLoop&) = delete;
    EventLoop& operator=(const EventLoop&) = delete;

    /// The loops that may get connections of this one, in the same order for all of them. They
    /// outlive it. To be called before Run().
    void SetLoops(std::vector<EventLoop*> loops) { m_loops = std::move(loops); }

    /// Calls `task` in the loop's thread.
    void Post(std::function<void()> task);

    /// Returns how busy the loop is, in percent.
    int GetBusy() const { return m_load.GetBusyNow(std::chrono::steady_clock::now()); }

    /// Serves connections until Stop().
    void Run();
    /// Ends Run() when all that has arrived is answered, or after `limit`.
    void Stop(std::chrono::milliseconds limit);

    void Add(FileDescriptor socket, std::size_t door, std::unique_ptr<Session> session);
    /// Counts a connection that was not added.
    void CountRefused(std::size_t door);
    void SetList(std::size_t number, std::shared_ptr<const ListGeneration> list);

    // For connections.

    const ServerSettings& GetSettings() const { return m_settings; }
    Scratch& GetScratch() { return m_scratch; }
    /// Returns the batch that is answered next. It may be full.
    Batch& GetBatch() { return *m_batch; }
    Poller& GetPoller() { return m_poller; }
    /// Returns the time of the latest event.
    std::chrono::steady_clock::time_point GetNow() const { return m_now; }
    /// Returns the list with this number, or null if it is not loaded.
    const ListGeneration* GetList(std::size_t number) const {
        return number < m_lists.size() ? m_lists[number].get() : nullptr;
    }
    /// Counts the answer to a request that came at the time `asked`.
    void Count(std::size_t door, const Query& query, const std::vector<Reply>& replies,
               std::chrono::steady_clock::time_point asked);
    /// Has a question answered by a worker, which sets `asked` to the ask that it is at. The
    /// connection gets the answer in time. False if there are too many.
    bool AskLater(const Query& query, Connection::QuestionId id,
                  std::shared_ptr<std::atomic<std::size_t>> asked);

private:
    using Time = std::chrono::steady_clock::time_point;

    struct Deadline {
        Time time;
        Connection::QuestionId id;
    };

    void TakeTurn();
    void ShareConnections(Time now);
    std::vector<Connection*> GetActive(Time since) const;
    void GiveAway(EventLoop& loop, const std::vector<Connection*>& connections);
    void TakeOver(std::vector<std::unique_ptr<Connection>> connections);
    bool AddTask(std::function<void()> task, bool even_if_stopped);
    void StopConnection(Connection& connection);
    void CountClosed(std::size_t door);
    void AnswerBatches();
    void Search(Batch& batch);
    void CountAnswers();
    int GetTimeout() const;
    void RunTasks();
    void ExpireQuestions();
    void CheckSecond();
    template <typename Action>
    void ServeNumber(std::uint64_t id, const Action& action);
    template <typename Action>
    void Serve(Connection& connection, const Action& action);

    /// Answers that were given in this turn, to questions of one time.
    struct Answered {
        std::size_t door;
        Time asked;
        std::size_t count;
    };

    const ServerSettings& m_settings;
    const std::size_t m_number;
    Metrics* const m_metrics;
    Workers& m_workers;
    const std::function<void(std::size_t door)> m_closed;

    Poller m_poller;
    FileDescriptor m_wake_read, m_wake_write;
    std::mutex m_lock;
    std::vector<std::function<void()>> m_tasks;
    bool m_stopped = false; ///< guarded by m_lock, as m_tasks

    Scratch m_scratch;
    std::array<Batch, 2> m_batches; ///< one is filled while the other is answered
    Batch* m_batch = &m_batches[0];
    ListGeneration::Finders m_finders;
    std::vector<std::shared_ptr<const ListGeneration>> m_lists;
    std::vector<EventLoop*> m_loops;
    LoopLoad m_load;
    std::unordered_map<std::uint64_t, std::unique_ptr<Connection>> m_connections;
    std::vector<std::unique_ptr<Connection>> m_dead; ///< events of this turn may name them
    std::uint64_t m_next_id = 0;
    std::vector<Answered> m_answered; ///< their times are counted together
    std::deque<Deadline> m_deadlines; ///< in order: all questions have the same time
    Time m_now;
    Time m_next_second;
    bool m_stopping = false;
    Time m_stop_at;
};

} // namespace kwlookup
