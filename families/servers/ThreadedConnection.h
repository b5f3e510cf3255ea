// SPDX-License-Identifier: MIT
#pragma once

#include "families/servers/Answer.h"
#include "families/servers/CallThread.h"
#include "families/servers/Deadline.h"
#include "families/servers/QuestionFault.h"
#include "families/servers/Server.h"
#include "families/servers/ServerFault.h"
#include "families/servers/ServerSettings.h"
#include "families/sql/StoreProgress.h"
#include "families/sql/StoredRow.h"

#include <chrono>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace kwlookup {

/// A connection for ServerSet that uses a library whose calls block. The connection has a thread
/// that makes all calls of the library.
///
/// `Session` has a constructor from (const Server&, const ServerSettings&), which connects and logs
/// in, and `Ask(const Statement&, const std::string& value, Answer&)`. `Statement` is the type of
/// the query's `GetStatement()`, which is copied for each search. A session that stores has
/// `Begin(const Insert&)`, `Insert(const StoredRow&)`, `Commit()` and `Rollback()`, with the
/// `Insert` of ServerStorage. These operations and the destructor may block. The destructor takes
/// back what was not committed.
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

    /// Stores all rows in one transaction. Throws what `Session` and CallThread throw.
    template <typename Insert>
    void Store(const Insert& insert, const std::vector<StoredRow>& rows,
               std::chrono::milliseconds timeout, StoreProgress& progress) {
        // The thread may outlive both.
        const auto owned_insert = std::make_shared<const Insert>(insert);
        const auto owned_rows = std::make_shared<const std::vector<StoredRow>>(rows);
        const auto step = [this, timeout](std::function<void()> call) {
            m_thread.Do(Deadline(timeout), std::move(call));
        };
        Session* const session = m_session;
        try {
            step([session, owned_insert] { session->Begin(*owned_insert); });
            for (const StoredRow& row : *owned_rows) {
                step([session, owned_rows, &row] { session->Insert(row); });
                ++progress.row;
            }
            progress.committing = true;
            step([session] { session->Commit(); });
        } catch (const QuestionFault& fault) {
            try {
                step([session] { session->Rollback(); });
            } catch (const ServerFault&) { // to the server, too, the transaction is over
                throw std::runtime_error(fault.what());
            }
            throw;
        }
    }

private:
    Session* m_session; ///< kept by the thread
    CallThread m_thread;
};

} // namespace kwlookup
