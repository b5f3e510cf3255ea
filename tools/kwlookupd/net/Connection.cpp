// SPDX-License-Identifier: MIT
#include "tools/kwlookupd/net/Connection.h"

#include "tools/kwlookupd/lists/ListGeneration.h"
#include "tools/kwlookupd/net/AskLists.h"
#include "tools/kwlookupd/net/EventLoop.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <sys/socket.h>
#include <utility>

namespace kwlookup {

namespace {

/// Answers of so many bytes are sent before more requests are answered.
constexpr std::size_t MAX_OUTPUT = 65536;
/// The time for a whole request, and to take a part of an answer: as long as Postfix would wait.
constexpr std::chrono::seconds MAX_REQUEST_TIME{100};
/// How long a client has to take the last answer. It may send all that it has before it looks.
/// Closing the socket while it sends would destroy the answer.
constexpr std::chrono::seconds MAX_LINGER_TIME{30};
/// How long it may be silent in that time.
constexpr std::chrono::seconds MAX_LINGER_PAUSE{2};

} // namespace

Connection::Connection(EventLoop& loop, std::uint64_t id, FileDescriptor socket, std::size_t door,
                       std::unique_ptr<Session> session)
    : m_loop(loop), m_id(id), m_socket(std::move(socket)), m_door(door),
      m_session(std::move(session)), m_pipelines(m_session->MayPipeline()), m_active(loop.GetNow()),
      m_began(loop.GetNow()) {}

bool Connection::OnReady(const Poller::Event& event) {
    if (m_lingering)
        return Discard();
    if (event.readable)
        return Receive();
    if (event.gone)
        return false;
    if (!m_writing)
        return true;
    switch (Write(m_unsent)) {
    case Sent::Failed:
        return false;
    case Sent::Blocked:
        m_active = m_loop.GetNow();
        return true;
    default:
        m_unsent = Output();
        return GoOn(m_input);
    }
}

bool Connection::OnAnswer(std::uint64_t question, std::vector<Reply> replies) {
    const std::uint64_t place = question - m_first;
    if (question < m_first || place >= m_open.size() || m_open[place].answered)
        return true;
    Question& open = m_open[place];
    open.replies = std::move(replies);
    if (open.query.all)
        open.replies.resize(open.query.asks.size(), open.replies.front());
    open.answered = true;
    return place != 0 || GoOn(m_input);
}

bool Connection::OnSecond() {
    const Time now = m_loop.GetNow();
    if (m_lingering)
        return now - m_active < MAX_LINGER_PAUSE && now - m_began < MAX_LINGER_TIME;
    if (!m_unsent.IsEmpty())
        return now - m_active < MAX_REQUEST_TIME;
    if (!m_open.empty())
        return true;
    if (!m_input.empty())
        return now - m_began < MAX_REQUEST_TIME;
    const std::chrono::milliseconds idle_time = m_loop.GetSettings().idle_time;
    return idle_time.count() == 0 || now - m_active < idle_time;
}

bool Connection::Finish() {
    if (m_reading && !m_lingering && !Receive())
        return false;
    m_closing = true;
    return !m_open.empty() || !m_unsent.IsEmpty();
}

/// Takes what the client has sent.
bool Connection::Receive() {
    auto& buffer = m_loop.GetScratch().input;
    const ssize_t size = ::recv(m_socket.Get(), buffer.data(), buffer.size(), 0);
    if (size < 0)
        return errno == EAGAIN || errno == EINTR;
    m_active = m_loop.GetNow();
    m_ended = size == 0;
    const std::string_view received(buffer.data(), static_cast<std::size_t>(size));
    if (m_input.empty()) {
        m_began = m_active;
        return GoOn(received);
    }
    m_input += received;
    return GoOn(m_input);
}

/// Reads and forgets what the client sends after the last answer.
bool Connection::Discard() {
    auto& buffer = m_loop.GetScratch().input;
    const ssize_t size = ::recv(m_socket.Get(), buffer.data(), buffer.size(), 0);
    if (size > 0)
        m_active = m_loop.GetNow();
    return size > 0 || (size < 0 && (errno == EAGAIN || errno == EINTR));
}

/// Answers what can be answered of `input`, which is m_input or follows it while that is empty.
bool Connection::GoOn(std::string_view input) {
    const bool is_kept = !m_input.empty();
    const std::size_t size = input.size();
    Output& output = m_loop.GetScratch().output;
    output.Clear();
    AnswerOpen(output);
    bool more = true;
    while (more && MayRead()) {
        more = ReadBatch(input, output);
        if (output.GetSize() > MAX_OUTPUT && !Send(output))
            return false;
    }
    if (!Send(output))
        return false;
    if (input.size() < size)
        m_began = m_loop.GetNow();
    if (!is_kept)
        m_input = input;
    else if (input.empty())
        std::string().swap(m_input);
    else
        m_input.erase(0, size - input.size());
    return Settle();
}

/// Reads requests and answers them, or opens questions. False if the session needs more input.
bool Connection::ReadBatch(std::string_view& input, Output& output) {
    auto& queries = m_loop.GetScratch().queries;
    const std::size_t room =
        m_pipelines ? std::min(queries.size(), m_loop.GetSettings().max_in_flight - m_open.size())
                    : 1;
    std::size_t count = 0;
    Session::Step step = Session::Step::Go;
    while (count < room && output.GetSize() <= MAX_OUTPUT) {
        Output& written = count == 0 && m_open.empty() ? output : m_last;
        step = m_session->Read(input, queries[count], written);
        if (step == Session::Step::NeedMore && m_ended) {
            step = m_session->ReadEnd(input, queries[count], written);
            if (step == Session::Step::NeedMore)
                step = Session::Step::Close;
        }
        if (step == Session::Step::Ask)
            ++count;
        else if (step != Session::Step::Go)
            break;
    }
    if (step == Session::Step::Close)
        m_closing = true;
    AnswerBatch(count, output);
    return step != Session::Step::NeedMore;
}

/// Answers the first queries of the scratch, at once if they need not wait for anything.
void Connection::AnswerBatch(std::size_t count, Output& output) {
    EventLoop::Scratch& scratch = m_loop.GetScratch();
    const auto waits = [this](const Query& query) {
        return std::any_of(query.asks.begin(), query.asks.end(), [this](const Query::Ask& ask) {
            const ListGeneration* list = m_loop.GetList(ask.list);
            return list && list->MayWait();
        });
    };
    const auto end = scratch.queries.begin() + static_cast<std::ptrdiff_t>(count);
    if (!m_open.empty() || std::any_of(scratch.queries.begin(), end, waits)) {
        for (auto query = scratch.queries.begin(); query != end; ++query)
            Open(*query, waits(*query));
        AnswerOpen(output);
        return;
    }

    // Let the searches of a batch wait for memory together.
    std::array<const std::string*, EventLoop::MAX_BATCH> texts;
    for (std::size_t i = 0; count > 1 && i < count;) {
        const std::size_t first = i;
        std::size_t found = 0;
        const auto list_of = [&](std::size_t j) {
            const auto& asks = scratch.queries[j].asks;
            return asks.empty() ? nullptr : m_loop.GetList(asks[0].list);
        };
        const ListGeneration* list = list_of(first);
        for (; i < count && list_of(i) == list; ++i) {
            if (list)
                texts[found++] = &scratch.queries[i].asks[0].text;
        }
        if (found > 1)
            list->Fetch(texts.data(), found);
    }
    for (std::size_t i = 0; i < count; ++i) {
        const Query& query = scratch.queries[i];
        AskLists(
            query, [&](std::size_t j) { return m_loop.GetList(query.asks[j].list); },
            scratch.replies);
        if (!Answer(query, scratch.replies, m_loop.GetNow(), output))
            return;
    }
    AnswerOpen(output);
}

/// Keeps a question until its turn to be answered comes.
void Connection::Open(Query& query, bool waits) {
    const std::uint64_t number = m_first + m_open.size();
    m_open.push_back({std::move(query), {}, m_loop.GetNow(), !waits});
    Question& question = m_open.back();
    if (!waits)
        AskLists(
            question.query,
            [&](std::size_t i) { return m_loop.GetList(question.query.asks[i].list); },
            question.replies);
    else if (!m_loop.AskLater(question.query, {m_id, number})) {
        Reply reply;
        reply.outcome = Outcome::Unavailable;
        reply.text = "too many requests are waiting";
        question.replies.assign(question.query.all ? question.query.asks.size() : 1, reply);
        question.answered = true;
    }
}

/// Writes the answers of the questions that have theirs, up to the first that has not.
void Connection::AnswerOpen(Output& output) {
    while (!m_open.empty() && m_open.front().answered) {
        const Question question = std::move(m_open.front());
        m_open.pop_front();
        ++m_first;
        if (!Answer(question.query, question.replies, question.asked, output))
            return;
    }
    if (m_open.empty() && !m_last.IsEmpty()) {
        output.Append(m_last);
        m_last = Output();
    }
}

/// Writes an answer. False if nothing may follow it.
bool Connection::Answer(const Query& query, const std::vector<Reply>& replies, Time asked,
                        Output& output) {
    m_loop.Count(m_door, query, replies, asked);
    if (m_session->Answer(query, replies, output))
        return true;
    m_closing = true;
    m_first += m_open.size();
    m_open.clear();
    m_last = Output();
    return false;
}

/// Sends as much as possible, and removes it.
Connection::Sent Connection::Write(Output& output) const {
    while (!output.IsEmpty()) {
        const std::string_view bytes = output.GetFirst();
        const ssize_t size = ::send(m_socket.Get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (size >= 0)
            output.Remove(static_cast<std::size_t>(size));
        else if (errno == EAGAIN)
            return Sent::Blocked;
        else if (errno != EINTR)
            return Sent::Failed;
    }
    return Sent::All;
}

/// Sends `output`, or keeps what cannot be sent now, and clears it.
bool Connection::Send(Output& output) {
    const Sent sent = m_unsent.IsEmpty() ? Write(output) : Sent::Blocked;
    if (sent == Sent::Blocked) {
        m_unsent.Append(output);
        m_active = m_loop.GetNow();
    }
    output.Clear();
    return sent != Sent::Failed;
}

/// Tells the poller what to wait for.
bool Connection::Settle() {
    if (m_closing && m_open.empty() && m_unsent.IsEmpty() && !m_lingering) {
        if (m_ended)
            return false;
        ::shutdown(m_socket.Get(), SHUT_WR);
        m_lingering = true;
        m_active = m_began = m_loop.GetNow();
    }
    const bool reads = m_lingering || (!m_ended && MayRead());
    const bool writes = !m_unsent.IsEmpty();
    if (reads != m_reading || writes != m_writing) {
        m_loop.GetPoller().Change(m_socket.Get(), this, reads, writes);
        m_reading = reads;
        m_writing = writes;
    }
    return true;
}

bool Connection::MayRead() const {
    return !m_closing && m_unsent.IsEmpty() &&
           m_open.size() < (m_pipelines ? m_loop.GetSettings().max_in_flight : 1);
}

} // namespace kwlookup
