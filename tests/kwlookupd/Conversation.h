// SPDX-License-Identifier: MIT
#pragma once

#include "tools/kwlookupd/doors/Session.h"

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

/// Talks with a session as the event loop does, without a socket. It answers questions at once, or
/// several together if the session may pipeline. Throws std::logic_error if the session breaks its
/// contract.
class Conversation {
public:
    using Answerer = std::function<kwlookup::Reply(const kwlookup::Query::Ask&)>;

    Conversation(std::unique_ptr<kwlookup::Session> session, Answerer answer)
        : m_session(std::move(session)), m_answer(std::move(answer)) {}

    /// Send bytes to the session, unless it has closed.
    void Send(std::string_view bytes) {
        if (!m_closed) {
            m_input += bytes;
            Run(false);
        }
    }

    /// Half-close.
    void End() {
        if (!m_closed)
            Run(true);
    }

    bool IsClosed() const { return m_closed; }

    /// What the session has written so far.
    std::string GetOutput() const { return m_written; }

private:
    static constexpr std::size_t MAX_OPEN = 3;
    /// The longest request that a session leaves in the input, that of socketmap.
    static constexpr std::size_t MAX_LEFT = 131072 + 8;

    void Run(bool ended) {
        using Step = kwlookup::Session::Step;
        std::string_view input = m_input;
        const std::size_t max_open = m_session->MayPipeline() ? MAX_OPEN : 1;
        for (Step step = Step::Go; !m_closed && step != Step::NeedMore;) {
            std::vector<kwlookup::Query> open;
            kwlookup::Output output;
            do {
                const std::size_t size = input.size();
                const std::size_t written = output.GetSize();
                m_query.tag = 12345; // of the last request
                step = ended ? m_session->ReadEnd(input, m_query, output)
                             : m_session->Read(input, m_query, output);
                if (step == Step::Ask)
                    open.push_back(m_query);
                else if (step == Step::Go) {
                    Check(input.size() < size || output.GetSize() > written, "it does not go on");
                    Check(open.empty() || output.IsEmpty(), "it writes before the answers");
                }
            } while ((step == Step::Ask && open.size() < max_open) ||
                     (step == Step::Go && m_session->MayPipeline()));
            Check(!ended || step != Step::NeedMore, "it needs more after the end");
            Check(step != Step::NeedMore || input.size() < MAX_LEFT,
                  "it waits for a request that is too long");
            if (open.empty())
                Take(output);
            for (const kwlookup::Query& query : open) {
                kwlookup::Output answer;
                m_closed = m_closed || !m_session->Answer(query, GetReplies(query), answer);
                Take(answer);
                if (m_closed)
                    return;
            }
            if (!open.empty())
                Take(output);
            m_closed = step == Step::Close;
        }
        m_input.erase(0, m_input.size() - input.size());
    }

    std::vector<kwlookup::Reply> GetReplies(const kwlookup::Query& query) const {
        std::vector<kwlookup::Reply> replies;
        for (std::size_t i = 0; i < query.asks.size(); ++i) {
            replies.push_back(m_answer(query.asks[i]));
            replies.back().ask = i;
            if (!query.all && replies.back().outcome != kwlookup::Outcome::NotFound)
                return {replies.back()};
        }
        if (replies.empty() || !query.all)
            replies.assign(1, kwlookup::Reply());
        return replies;
    }

    void Take(const kwlookup::Output& output) {
        for (const std::string_view piece : output.GetPieces())
            m_written += piece;
    }

    static void Check(bool holds, const char* fault) {
        if (!holds)
            throw std::logic_error(fault);
    }

    const std::unique_ptr<kwlookup::Session> m_session;
    const Answerer m_answer;
    kwlookup::Query m_query;
    std::string m_input;
    std::string m_written;
    bool m_closed = false;
};
