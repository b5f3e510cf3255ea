// SPDX-License-Identifier: MIT
#include "tools/kwlookupd/net/Connection.h"

#include "tools/kwlookupd/lists/ListGeneration.h"
#include "tools/kwlookupd/net/AskLists.h"
#include "tools/kwlookupd/net/EventLoop.h"

#include <algorithm>
#include <cerrno>
#include <sys/socket.h>
#include <utility>

namespace kwlookup {

namespace {

/// Answers of so many bytes are sent before more requests are answered. If the client does not take
/// them, so many more are kept.
constexpr std::size_t MAX_OUTPUT = 65536;
/// How long a client has to take the last answer. It may send all that it has before it looks.
/// Closing the socket while it sends would destroy the answer.
constexpr std::chrono::seconds MAX_LINGER_TIME{30};
/// How long it may be silent in that time.
constexpr std::chrono::seconds MAX_LINGER_PAUSE{2};

} // namespace

Connection::Connection(EventLoop& loop, std::uint64_t id, FileDescriptor socket, std::size_t door,
                       std::unique_ptr<Session> session)
    : m_loop(&loop), m_id(id), m_socket(std::move(socket)), m_door(door),
      m_session(std::move(session)), m_pipelines(m_session->MayPipeline()), m_active(loop.GetNow()),
      m_began(loop.GetNow()) {}

bool Connection::MayMove() const {
    return !m_ended && !m_closing &&
           std::none_of(m_open.begin(), m_open.end(),
                        [](const Question& question) { return question.state == Question::Asked; });
}

bool Connection::OnReady(const Poller::Event& event) {
    if (m_lingering)
        return Discard(event.ended);
    if (event.readable)
        return Receive(event.ended);
    if (event.gone)
        return false;
    if (!m_writing)
        return true;
    switch (Write(m_unsent)) {
    case Sent::Failed:
        return false;
    case Sent::Blocked:
        m_active = m_loop->GetNow();
        return true;
    default:
        m_unsent = Output();
        m_began = m_loop->GetNow(); // nothing was read meanwhile
        return GoOn(m_input);
    }
}

bool Connection::OnAnswer(std::uint64_t question, std::vector<Reply> replies) {
    Question* const open = FindOpen(question);
    if (!open)
        return true;
    open->replies = std::move(replies);
    open->state = Question::Answered;
    return GoOnAfter(question);
}

bool Connection::OnTimeout(std::uint64_t question) {
    Question* const open = FindOpen(question);
    if (!open)
        return true;
    Refuse(*open, ListGeneration::Refusal::TimedOut);
    return GoOnAfter(question);
}

/// Returns a question that a worker was asked and that has no answer yet, or null.
Connection::Question* Connection::FindOpen(std::uint64_t question) {
    const std::uint64_t place = question - m_first;
    if (question < m_first || place >= m_open.size() || m_open[place].state != Question::Asked)
        return nullptr;
    return &m_open[place];
}

/// Sends what waited for the answer to `question`.
bool Connection::GoOnAfter(std::uint64_t question) {
    return question != m_first || GoOn(m_input);
}

bool Connection::OnSecond() {
    const Time now = m_loop->GetNow();
    if (m_lingering)
        return now - m_active < MAX_LINGER_PAUSE && now - m_began < MAX_LINGER_TIME;
    if (!m_unsent.IsEmpty())
        return now - m_active < m_loop->GetSettings().request_time;
    if (!m_open.empty())
        return true;
    if (!m_input.empty() || m_session->IsInsideRequest())
        return now - m_began < m_loop->GetSettings().request_time;
    const std::chrono::milliseconds idle_time = m_loop->GetSettings().idle_time;
    return idle_time.count() == 0 || now - m_active < idle_time;
}

bool Connection::TakeRest() {
    return !m_reading || m_lingering || Receive(false);
}

bool Connection::Finish() {
    m_closing = true;
    return !m_open.empty() || !m_unsent.IsEmpty();
}

/// Reads into the buffer of the loop. `ended` says that the client will send no more.
ssize_t Connection::ReceiveSome(bool ended) {
    auto& buffer = m_loop->GetScratch().input;
    ssize_t size;
    do
        size = ::recv(m_socket.Get(), buffer.data(), buffer.size(), 0);
    while (size < 0 && errno == EINTR);
    // The event comes once. Ask for another one if there may be more to read.
    if (size == static_cast<ssize_t>(buffer.size()) || (ended && size > 0))
        m_loop->GetPoller().Change(m_socket.Get(), this, m_reading, m_writing);
    return size;
}

/// Takes what the client has sent.
bool Connection::Receive(bool ended) {
    const ssize_t size = ReceiveSome(ended);
    if (size < 0)
        return errno == EAGAIN;
    m_active = m_loop->GetNow();
    m_ended = size == 0;
    const std::string_view received(m_loop->GetScratch().input.data(),
                                    static_cast<std::size_t>(size));
    if (m_input.empty()) {
        if (!m_session->IsInsideRequest())
            m_began = m_active;
        return GoOn(received);
    }
    m_input += received;
    return GoOn(m_input);
}

/// Reads and forgets what the client sends after the last answer.
bool Connection::Discard(bool ended) {
    const ssize_t size = ReceiveSome(ended);
    if (size > 0)
        m_active = m_loop->GetNow();
    return size > 0 || (size < 0 && errno == EAGAIN);
}

/// Answers what can be answered of `input`, which is m_input or follows it while that is empty.
bool Connection::GoOn(std::string_view input) {
    Output& output = m_loop->GetScratch().output;
    output.Clear();
    if (!AnswerOpen(output))
        return false;
    if (m_pipelines)
        return Send(output) && ReadAhead(input);
    const std::size_t size = input.size();
    Query& query = m_loop->GetScratch().query;
    Session::Step step = Session::Step::Go;
    while (step != Session::Step::NeedMore && MayRead()) {
        step = Read(input, query, m_open.empty() ? output : m_last);
        if (step == Session::Step::Ask)
            AnswerNow(query, output);
        if (!AnswerOpen(output) || (output.GetSize() > MAX_OUTPUT && !Send(output)))
            return false;
    }
    if (!Send(output))
        return false;
    Keep(input, size);
    return Settle();
}

/// Reads requests into the loop's batch, so that they are answered soon.
bool Connection::ReadAhead(std::string_view input) {
    Batch& batch = m_loop->GetBatch();
    const std::size_t begin = batch.count;
    std::size_t end = begin;
    const std::size_t size = input.size();
    Session::Step step = Session::Step::NeedMore;
    if (MayRead()) {
        const std::size_t room = std::min(Batch::MAX_REQUESTS - begin,
                                          m_loop->GetSettings().max_in_flight - m_open.size());
        step = Session::Step::Go;
        while (end - begin < room) {
            step = Read(input, batch.requests[end].query, m_last);
            if (step == Session::Step::Ask)
                ++end;
            else if (step != Session::Step::Go)
                break;
        }
    }
    Keep(input, size);
    if (end == begin && step == Session::Step::NeedMore)
        return Settle();
    batch.shares.push_back({this, begin, end, step != Session::Step::NeedMore});
    batch.count = end;
    return true;
}

/// Reads one request.
Session::Step Connection::Read(std::string_view& input, Query& query, Output& output) {
    Session::Step step = m_session->Read(input, query, output);
    if (step == Session::Step::NeedMore && m_ended) {
        step = m_session->ReadEnd(input, query, output);
        if (step == Session::Step::NeedMore)
            step = Session::Step::Close;
    }
    if (step == Session::Step::Ask || (step == Session::Step::Go && !m_session->IsInsideRequest()))
        m_began = m_loop->GetNow(); // what follows is another request
    if (step == Session::Step::Close)
        m_closing = true;
    return step;
}

bool Connection::OnBatch(Batch& batch, const Batch::Share& share) {
    Output& output = m_loop->GetScratch().output;
    output.Clear();
    for (std::size_t i = share.begin; i != share.end; ++i) {
        Batch::Request& request = batch.requests[i];
        const bool waits = !request.answered && Waits(request.query);
        if (!request.answered && !waits)
            Search(request.query, request.replies);
        if (waits || !m_open.empty())
            Open(request.query, request.replies, waits);
        else if (!Answer(request.query, request.replies, m_loop->GetNow(), output))
            break;
        if (output.GetSize() <= MAX_OUTPUT)
            continue;
        if (!Send(output))
            return false;
        if (m_unsent.GetSize() <= MAX_OUTPUT)
            continue;
        for (++i; i != share.end; ++i) // their answers would need memory
            m_open.push_back({std::move(batch.requests[i].query),
                              {},
                              m_loop->GetNow(),
                              Question::Unasked,
                              nullptr});
        break;
    }
    return AnswerOpen(output) && Send(output) && (share.more ? GoOn(m_input) : Settle());
}

/// Answers a query, at once if it need not wait for anything.
void Connection::AnswerNow(Query& query, Output& output) {
    std::vector<Reply>& replies = m_loop->GetScratch().replies;
    const bool waits = Waits(query);
    if (!waits)
        Search(query, replies);
    if (waits || !m_open.empty())
        Open(query, replies, waits);
    else
        Answer(query, replies, m_loop->GetNow(), output);
}

bool Connection::Waits(const Query& query) const {
    const auto get_list = [&](std::size_t i) { return m_loop->GetList(query.asks[i].list); };
    return FindSlowAsk(query, get_list) != query.asks.size();
}

void Connection::Search(const Query& query, std::vector<Reply>& replies) const {
    AskLists(
        query, [&](std::size_t i) { return m_loop->GetList(query.asks[i].list); }, replies);
}

/// Keeps a question until its turn to be answered comes. It has its replies unless it `waits`.
void Connection::Open(Query& query, std::vector<Reply>& replies, bool waits) {
    const std::uint64_t number = m_first + m_open.size();
    m_open.push_back({std::move(query),
                      {},
                      m_loop->GetNow(),
                      waits ? Question::Asked : Question::Answered,
                      nullptr});
    if (waits)
        AskWorker(m_open.back(), number);
    else
        m_open.back().replies = replies;
}

void Connection::AskWorker(Question& question, std::uint64_t number) {
    question.state = Question::Asked;
    question.ask = std::make_shared<std::atomic<std::size_t>>(0);
    if (!m_loop->AskLater(question.query, {m_id, number}, question.ask))
        Refuse(question, ListGeneration::Refusal::TooMany);
}

/// Gives a question the answer that its list cannot be asked, and logs it.
void Connection::Refuse(Question& question, ListGeneration::Refusal reason) const {
    const Query& query = question.query;
    Reply reply;
    reply.ask = ReportRefusal(
        query, [&](std::size_t i) { return m_loop->GetList(query.asks[i].list); }, reason,
        *question.ask);
    reply.outcome = Outcome::Unavailable;
    reply.text =
        reason == ListGeneration::Refusal::TimedOut ? "timed out" : "too many requests are waiting";
    question.replies.assign(query.all ? query.asks.size() : 1, reply);
    for (std::size_t i = 0; query.all && i < question.replies.size(); ++i)
        question.replies[i].ask = i;
    question.state = Question::Answered;
}

/// Keeps what is left of an input of `size` bytes. See GoOn().
void Connection::Keep(std::string_view input, std::size_t size) {
    if (m_input.empty())
        m_input = input;
    else if (input.empty())
        std::string().swap(m_input);
    else
        m_input.erase(0, size - input.size());
}

/// Asks the first of m_open, which was left for later.
void Connection::AskFirst() {
    Question& first = m_open.front();
    if (Waits(first.query)) { // its list has changed
        AskWorker(first, m_first);
        return;
    }
    Search(first.query, first.replies);
    first.state = Question::Answered;
}

/// Writes the answers of the questions that have theirs, up to the first that has not, or until the
/// client must take some first.
bool Connection::AnswerOpen(Output& output) {
    while (!m_open.empty() && m_unsent.GetSize() <= MAX_OUTPUT) {
        if (m_open.front().state == Question::Unasked)
            AskFirst();
        if (m_open.front().state == Question::Asked)
            return true;
        const Question question = std::move(m_open.front());
        m_open.pop_front();
        ++m_first;
        if (!Answer(question.query, question.replies, question.asked, output))
            return true;
        if (output.GetSize() > MAX_OUTPUT && !Send(output))
            return false;
    }
    if (m_open.empty() && !m_last.IsEmpty()) {
        output.Append(m_last);
        m_last = Output();
    }
    return true;
}

/// Writes an answer. False if nothing may follow it.
bool Connection::Answer(const Query& query, const std::vector<Reply>& replies, Time asked,
                        Output& output) {
    m_loop->Count(m_door, query, replies, asked);
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
        m_active = m_loop->GetNow();
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
        m_active = m_began = m_loop->GetNow();
    }
    const bool reads = m_lingering || (!m_ended && MayRead());
    const bool writes = !m_unsent.IsEmpty();
    if (reads != m_reading || writes != m_writing) {
        m_loop->GetPoller().Change(m_socket.Get(), this, reads, writes);
        m_reading = reads;
        m_writing = writes;
    }
    return true;
}

bool Connection::MayRead() const {
    return !m_closing && m_unsent.IsEmpty() &&
           m_open.size() < (m_pipelines ? m_loop->GetSettings().max_in_flight : 1);
}

} // namespace kwlookup
