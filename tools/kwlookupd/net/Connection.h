// SPDX-License-Identifier: MIT
#pragma once

#include "text/FileDescriptor.h"
#include "tools/kwlookupd/doors/Output.h"
#include "tools/kwlookupd/doors/Query.h"
#include "tools/kwlookupd/doors/Reply.h"
#include "tools/kwlookupd/doors/Session.h"
#include "tools/kwlookupd/lists/ListGeneration.h"
#include "tools/kwlookupd/net/Batch.h"
#include "tools/kwlookupd/net/Poller.h"

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

namespace kwlookup {

class EventLoop;

/// A client's connection: reads requests, and sends the answers in their order.
///
/// It has bounded memory. It reads nothing while an answer could not be sent, or while too many
/// questions are open. Threads: that of its loop.
class Connection {
public:
    /// Names a connection and a question of it for the answer that comes later.
    struct QuestionId {
        std::uint64_t connection;
        std::uint64_t question;
    };

    Connection(EventLoop& loop, std::uint64_t id, FileDescriptor socket, std::size_t door,
               std::unique_ptr<Session> session);

    std::uint64_t GetId() const { return m_id; }
    std::size_t GetDoor() const { return m_door; }
    int GetSocket() const { return m_socket.Get(); }
    /// Returns true if it waits to read, or to write.
    bool IsReading() const { return m_reading; }
    bool IsWriting() const { return m_writing; }

    /// Returns true if another loop can take over the connection: no worker has a question of it.
    bool MayMove() const;
    void MoveTo(EventLoop& loop, std::uint64_t id) {
        m_loop = &loop;
        m_id = id;
    }
    /// Returns when bytes were last received or sent.
    std::chrono::steady_clock::time_point GetLastActive() const { return m_active; }

    // Each of these returns false when the connection is to be closed.

    bool OnReady(const Poller::Event& event);
    /// Sends the answers to its requests in `batch`, which has answered those that need not wait.
    bool OnBatch(Batch& batch, const Batch::Share& share);
    /// Gives the answer to a question that waited. Ignores a second one.
    bool OnAnswer(std::uint64_t question, std::vector<Reply> replies);
    /// Answers a question that has waited too long.
    bool OnTimeout(std::uint64_t question);
    /// Checks the limits of time. To be called about each second.
    bool OnSecond();
    /// Takes what has arrived. To be called before Finish().
    bool TakeRest();
    /// Answers nothing that comes from now on.
    bool Finish();

    /// Closes the socket.
    void Close() { m_socket = FileDescriptor(); }

private:
    using Time = std::chrono::steady_clock::time_point;

    struct Question {
        Query query;
        std::vector<Reply> replies;
        Time asked;
        enum { Unasked, Asked, Answered } state;
        std::shared_ptr<std::atomic<std::size_t>> ask; ///< that a worker is at; null without one
    };
    enum class Sent { All, Blocked, Failed };

    ssize_t ReceiveSome(bool ended);
    bool Receive(bool ended);
    bool Discard(bool ended);
    bool GoOn(std::string_view input);
    bool ReadAhead(std::string_view input);
    Session::Step Read(std::string_view& input, Query& query, Output& output);
    void AnswerNow(Query& query, Output& output);
    bool Waits(const Query& query) const;
    void Search(const Query& query, std::vector<Reply>& replies) const;
    Question* FindOpen(std::uint64_t question);
    bool GoOnAfter(std::uint64_t question);
    void Refuse(Question& question, ListGeneration::Refusal reason) const;
    void Open(Query& query, std::vector<Reply>& replies, bool waits);
    void Keep(std::string_view input, std::size_t size);
    void AskWorker(Question& question, std::uint64_t number);
    void AskFirst();
    bool AnswerOpen(Output& output);
    bool Answer(const Query& query, const std::vector<Reply>& replies, Time asked, Output& output);
    Sent Write(Output& output) const;
    bool Send(Output& output);
    bool Settle();
    bool MayRead() const;

    EventLoop* m_loop;
    std::uint64_t m_id;
    FileDescriptor m_socket;
    const std::size_t m_door;
    const std::unique_ptr<Session> m_session;
    const bool m_pipelines;

    std::string m_input; ///< not taken by the session yet
    Output m_unsent;
    Output m_last; ///< what the session wrote before it closed, while questions are open
    std::deque<Question> m_open;
    std::uint64_t m_first = 0; ///< the number of the first of m_open

    bool m_reading = true; ///< as the poller knows
    bool m_writing = false;
    bool m_ended = false;     ///< the client has half-closed
    bool m_closing = false;   ///< no more requests are read
    bool m_lingering = false; ///< all is sent; waits for the client to close
    Time m_active;            ///< when bytes were last received or sent
    Time m_began;             ///< when the unfinished request, or lingering, began
};

} // namespace kwlookup
