// SPDX-License-Identifier: MIT
#pragma once

#include "families/servers/Answer.h"
#include "families/servers/CallThread.h"
#include "families/servers/Deadline.h"
#include "families/servers/Server.h"
#include "families/servers/ServerSettings.h"

#include <memory>
#include <string>
#include <type_traits>
#include <utility>

namespace kwlookup {

/// A connection for ServerSet that uses a library whose calls block. The connection has a thread
/// that makes all calls of the library.
///
/// `Session` has a constructor from (const Server&, const ServerSettings&), which connects and logs
/// in, and `Ask(const Statement&, const std::string& value, Answer&)`. `Statement` is the type of
/// the query's `GetStatement()`, which is copied for each search. These operations and the
/// destructor may block.
///
/// Threads: one at a time.
template <typename Session>
class ThreadedConnection {
public:
    /// Throws what `Session` and CallThread throw.
    ThreadedConnection(const Server& server, const ServerSettings& settings, Deadline deadline)
        : m_thread(deadline) {
        // Copies, because the thread may outlive the originals.
        const auto session = std::make_shared<std::shared_ptr<Session>>();
        m_thread.Do(deadline, [session, server, settings] {
            *session = std::make_shared<Session>(server, settings);
        });
        m_session = session->get();
        m_thread.Keep(std::move(*session));
    }

    /// Throws what `Session` and CallThread throw.
    template <typename Query>
    void Ask(const Query& query, const std::string& value, Deadline deadline, Answer& answer) {
        // Copies, because the thread may outlive the originals.
        struct Question {
            std::decay_t<decltype(query.GetStatement())> statement;
            std::string value;
            Answer answer;
        };
        const auto question =
            std::make_shared<Question>(Question{query.GetStatement(), value, answer});
        m_thread.Do(deadline, [session = m_session, question] {
            session->Ask(question->statement, question->value, question->answer);
        });
        answer = std::move(question->answer);
    }

private:
    Session* m_session; ///< kept by the thread
    CallThread m_thread;
};

} // namespace kwlookup
