// SPDX-License-Identifier: MIT
#include "tools/kwlookupd/net/EventLoop.h"

#include "tools/kwlookupd/lists/ListGeneration.h"
#include "tools/kwlookupd/lists/LogFault.h"
#include "tools/kwlookupd/net/ConnectionShares.h"

#include <algorithm>
#include <cerrno>
#include <exception>
#include <fcntl.h>
#include <string>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace kwlookup {

namespace {

/// There is room for so many closed connections, more than a turn usually has: one that could not
/// be kept until the end of the turn would never be counted as closed.
constexpr std::size_t USUAL_DEAD = 1024;

constexpr char CLOSED[] = "a connection is closed: ";

} // namespace

EventLoop::EventLoop(const ServerSettings& settings, std::size_t number, Metrics* metrics,
                     Workers& workers, std::function<void(std::size_t door)> closed)
    : m_settings(settings), m_number(number), m_metrics(metrics), m_workers(workers),
      m_closed(std::move(closed)), m_now(std::chrono::steady_clock::now()), m_next_second(m_now) {
    int ends[2];
    if (::pipe(ends) != 0)
        throw std::system_error(errno, std::system_category(), "pipe");
    m_wake_read = FileDescriptor(ends[0]);
    m_wake_write = FileDescriptor(ends[1]);
    for (const int end : ends) {
        ::fcntl(end, F_SETFL, O_NONBLOCK);
        ::fcntl(end, F_SETFD, FD_CLOEXEC);
    }
    m_poller.Add(m_wake_read.Get(), nullptr, true, false);
    m_dead.reserve(USUAL_DEAD);
}

EventLoop::~EventLoop() = default;

void EventLoop::Post(std::function<void()> task) {
    AddTask(std::move(task), true);
}

/// Returns false, without the task, if the loop has been stopped.
bool EventLoop::AddTask(std::function<void()> task, bool even_if_stopped) {
    bool wake;
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        if (m_stopped && !even_if_stopped)
            return false;
        wake = m_tasks.empty();
        m_tasks.push_back(std::move(task));
    }
    // The pipe cannot be full: it has a byte only while there are tasks.
    if (wake && ::write(m_wake_write.Get(), "", 1) < 0)
        throw std::system_error(errno, std::system_category(), "write");
    return true;
}

void EventLoop::Run() {
    while (!m_stopping || (!m_connections.empty() && m_now < m_stop_at)) {
        try {
            TakeTurn();
        } catch (const std::exception& e) { // memory has run out; what was not done comes again
            LogFault("", e);
        }
        m_dead.clear();
    }
    m_connections.clear();
}

void EventLoop::TakeTurn() {
    const Time now = std::chrono::steady_clock::now();
    ShareConnections(now);
    m_load.BeginWait(now);
    const std::vector<Poller::Event>& events = m_poller.Wait(GetTimeout());
    m_now = std::chrono::steady_clock::now();
    m_load.EndWait(m_now);
    for (const Poller::Event& event : events) {
        if (m_batch->IsFull() || !event.owner)
            AnswerBatches();
        if (event.owner) {
            auto& connection = *static_cast<Connection*>(event.owner);
            Serve(connection, [&] { return connection.OnReady(event); });
        } else
            RunTasks();
    }
    AnswerBatches();
    ExpireQuestions();
    CheckSecond();
    AnswerBatches();
}

/// Gives connections to other loops where that makes all quicker.
void EventLoop::ShareConnections(Time now) {
    if (m_stopping)
        return;
    if (m_load.EndShort(now)) {
        const int busy = m_load.GetBusyNow(now);
        EventLoop* idlest = this;
        int least = busy;
        for (EventLoop* loop : m_loops) {
            const int its = loop->m_load.GetBusyNow(now);
            if (its < least) {
                idlest = loop;
                least = its;
            }
        }
        if (CountToGive(busy, least, m_connections.size()) != 0) {
            std::vector<Connection*> active = GetActive(std::min(m_now, now - LoopLoad::SHORT));
            active.resize(CountToGive(busy, least, active.size()));
            GiveAway(*idlest, active);
        }
    }
    if (m_load.EndLong(now)) {
        const int busy = m_load.GetBusyForLong(now);
        for (EventLoop* loop : m_loops) {
            if (loop == this)
                break;
            const int its = loop->m_load.GetBusyForLong(now);
            if (CountToReturn(busy, its, m_connections.size()) != 0) {
                std::vector<Connection*> active = GetActive(std::min(m_now, now - LoopLoad::LONG));
                active.resize(CountToReturn(busy, its, active.size()));
                GiveAway(*loop, active);
                break;
            }
        }
    }
}

/// Returns the connections that were active since then, and can be moved. Those of the last turn
/// have its time, m_now, even if it took long.
std::vector<Connection*> EventLoop::GetActive(Time since) const {
    std::vector<Connection*> active;
    for (const auto& [id, connection] : m_connections)
        if (connection->MayMove() && connection->GetLastActive() >= since)
            active.push_back(connection.get());
    return active;
}

void EventLoop::GiveAway(EventLoop& loop, const std::vector<Connection*>& connections) {
    if (connections.empty())
        return;
    const auto given = std::make_shared<std::vector<std::unique_ptr<Connection>>>();
    given->reserve(connections.size());
    const std::function<void()> take = [&loop, given] { loop.TakeOver(std::move(*given)); };
    for (const Connection* connection : connections) {
        const auto found = m_connections.find(connection->GetId());
        m_poller.Remove(connection->GetSocket());
        given->push_back(std::move(found->second));
        m_connections.erase(found);
    }
    bool is_given = false;
    try {
        is_given = loop.AddTask(take, false);
    } catch (const std::exception&) { // keep them
    }
    if (!is_given)
        TakeOver(std::move(*given));
}

void EventLoop::TakeOver(std::vector<std::unique_ptr<Connection>> connections) {
    for (std::unique_ptr<Connection>& taken : connections) {
        Connection& connection = *taken;
        const std::uint64_t id = m_next_id++;
        connection.MoveTo(*this, id);
        try {
            m_connections[id] = std::move(taken);
            m_poller.Add(connection.GetSocket(), &connection, connection.IsReading(),
                         connection.IsWriting());
        } catch (const std::exception& e) {
            LogFault(CLOSED, e);
            CountClosed(connection.GetDoor());
            m_connections.erase(id);
            continue;
        }
        if (m_stopping)
            StopConnection(connection);
    }
}

/// Answers all requests that were read.
void EventLoop::AnswerBatches() {
    while (!m_batch->shares.empty()) {
        Batch& batch = *m_batch;
        m_batch = &m_batches[m_batch == &m_batches[0] ? 1 : 0];
        Search(batch);
        for (const Batch::Share& share : batch.shares)
            Serve(*share.connection, [&] { return share.connection->OnBatch(batch, share); });
        batch.shares.clear();
        batch.count = 0;
    }
}

/// Answers the requests that need neither wait nor memory.
void EventLoop::Search(Batch& batch) {
    std::array<ListGeneration::Question, Batch::MAX_REQUESTS> questions;
    std::size_t count = 0;
    const ListGeneration* list = nullptr; // of these questions
    const auto ask = [&] {
        if (count > 0)
            list->AskAll(questions.data(), count, m_finders);
        count = 0;
    };
    for (std::size_t i = 0; i != batch.count; ++i) {
        Batch::Request& request = batch.requests[i];
        const auto& asks = request.query.asks;
        const bool is_plain = asks.size() == 1 && !request.query.all && !request.query.explain;
        const ListGeneration* const asked = is_plain ? GetList(asks[0].list) : nullptr;
        request.answered = asked && !asked->MayWait() && request.replies.size() == 1;
        if (!request.answered)
            continue;
        if (asked != list)
            ask();
        list = asked;
        request.replies[0].ask = 0;
        questions[count++] = {&asks[0].text, &request.replies[0]};
    }
    ask();
}

void EventLoop::Stop(std::chrono::milliseconds limit) {
    m_stopping = true;
    m_stop_at = m_now + limit;
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        m_stopped = true;
    }
    RunTasks(); // which may bring connections
    std::vector<Connection*> connections;
    for (const auto& [id, connection] : m_connections)
        connections.push_back(connection.get());
    for (Connection* connection : connections)
        StopConnection(*connection);
}

void EventLoop::StopConnection(Connection& connection) {
    Serve(connection, [&] { return connection.TakeRest(); });
    AnswerBatches();
    Serve(connection, [&] { return connection.Finish(); });
}

void EventLoop::Add(FileDescriptor socket, std::size_t door, std::unique_ptr<Session> session) {
    const int fd = socket.Get();
    const std::uint64_t id = m_next_id++;
    try {
        std::unique_ptr<Connection>& connection = m_connections[id];
        connection =
            std::make_unique<Connection>(*this, id, std::move(socket), door, std::move(session));
        m_poller.Add(fd, connection.get(), true, false);
    } catch (...) {
        m_connections.erase(id);
        m_closed(door);
        throw;
    }
    if (m_metrics)
        m_metrics->CountConnection(m_number, door, 1);
}

void EventLoop::CountRefused(std::size_t door) {
    if (m_metrics)
        m_metrics->CountRefused(m_number, door);
}

void EventLoop::Count(std::size_t door, const Query& query, const std::vector<Reply>& replies,
                      Time asked) {
    if (!m_metrics || query.asks.empty())
        return;
    for (const Reply& reply : replies) {
        const std::size_t list = query.asks[reply.ask].list;
        m_metrics->Count(m_number, door, list, reply.outcome);
        if (reply.outcome == Outcome::Unavailable)
            m_metrics->NoteFault(list, reply.text);
    }
    if (m_answered.empty() || m_answered.back().door != door || m_answered.back().asked != asked)
        m_answered.push_back({door, asked, 0});
    m_answered.back().count += replies.size();
}

void EventLoop::CountAnswers() {
    if (m_answered.empty())
        return;
    const Time now = std::chrono::steady_clock::now();
    for (const Answered& answer : m_answered) {
        const auto time = std::chrono::nanoseconds(now - answer.asked).count();
        m_metrics->CountTimes(m_number, answer.door, static_cast<std::uint64_t>(time),
                              answer.count);
    }
    m_answered.clear();
}

void EventLoop::SetList(std::size_t number, std::shared_ptr<const ListGeneration> list) {
    if (number >= m_lists.size())
        m_lists.resize(number + 1);
    m_lists[number] = std::move(list);
}

bool EventLoop::AskLater(const Query& query, Connection::QuestionId id,
                         std::shared_ptr<std::atomic<std::size_t>> asked) {
    Workers::Job job;
    job.asked = std::move(asked);
    job.query = query;
    for (const Query::Ask& ask : query.asks)
        job.lists.push_back(ask.list < m_lists.size() ? m_lists[ask.list] : nullptr);
    job.deadline = m_now + m_settings.answer_time;
    job.done = [this, id](std::vector<Reply> replies) {
        Post([this, id, replies = std::move(replies)]() mutable {
            ServeNumber(id.connection, [&](Connection& connection) {
                return connection.OnAnswer(id.question, std::move(replies));
            });
        });
    };
    m_deadlines.push_back({job.deadline, id});
    if (m_workers.Add(std::move(job)))
        return true;
    m_deadlines.pop_back();
    return false;
}

int EventLoop::GetTimeout() const {
    if (m_connections.empty())
        return -1;
    Time next = m_next_second;
    if (!m_deadlines.empty())
        next = std::min(next, m_deadlines.front().time);
    if (m_stopping)
        next = std::min(next, m_stop_at);
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(next - m_now).count();
    return static_cast<int>(std::max<std::chrono::milliseconds::rep>(left, 0));
}

void EventLoop::RunTasks() {
    char byte;
    while (::read(m_wake_read.Get(), &byte, 1) < 0 && errno == EINTR) {
    }
    std::vector<std::function<void()>> tasks;
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        tasks.swap(m_tasks);
    }
    for (const std::function<void()>& task : tasks) {
        try {
            task();
        } catch (const std::exception& e) {
            LogFault("", e);
        }
    }
}

void EventLoop::ExpireQuestions() {
    while (!m_deadlines.empty() && m_deadlines.front().time <= m_now) {
        const Connection::QuestionId id = m_deadlines.front().id;
        m_deadlines.pop_front();
        ServeNumber(id.connection,
                    [&](Connection& connection) { return connection.OnTimeout(id.question); });
    }
    if (m_connections.empty())
        m_deadlines.clear();
}

void EventLoop::CheckSecond() {
    if (m_now < m_next_second || m_connections.empty())
        return;
    m_next_second = m_now + std::chrono::seconds(1);
    std::vector<Connection*> connections;
    for (const auto& [id, connection] : m_connections)
        connections.push_back(connection.get());
    for (Connection* connection : connections)
        Serve(*connection, [&] { return connection->OnSecond(); });
}

/// Lets the connection with this number act, if it is still there.
template <typename Action>
void EventLoop::ServeNumber(std::uint64_t id, const Action& action) {
    const auto found = m_connections.find(id);
    if (found != m_connections.end())
        Serve(*found->second, [&] { return action(*found->second); });
}

/// Lets a connection act, and closes it if it is done or fails.
template <typename Action>
void EventLoop::Serve(Connection& connection, const Action& action) {
    if (connection.GetSocket() < 0)
        return;
    bool goes_on = false;
    try {
        goes_on = action();
    } catch (const std::exception& e) {
        LogFault(CLOSED, e);
    }
    CountAnswers();
    if (goes_on)
        return;
    m_poller.Remove(connection.GetSocket());
    connection.Close();
    const auto found = m_connections.find(connection.GetId());
    m_dead.push_back(std::move(found->second));
    m_connections.erase(found);
    CountClosed(connection.GetDoor());
}

void EventLoop::CountClosed(std::size_t door) {
    if (m_metrics)
        m_metrics->CountConnection(m_number, door, -1);
    m_closed(door);
}

} // namespace kwlookup
