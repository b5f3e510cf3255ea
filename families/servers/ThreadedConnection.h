// SPDX-License-Identifier: MIT
#pragma once

#include "families/servers/Answer.h"
#include "families/servers/CallThread.h"
#include "families/servers/CancelWatch.h"
#include "families/servers/Deadline.h"
#include "families/servers/QuestionFault.h"
#include "families/servers/Server.h"
#include "families/servers/ServerFault.h"
#include "families/servers/ServerSettings.h"
#include "families/servers/StoreTime.h"
#include "families/sql/StoreProgress.h"
#include "families/sql/StoredRow.h"
#include "text/FileDescriptor.h"

#include <chrono>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <sys/socket.h>
#include <type_traits>
#include <utility>
#include <vector>

namespace kwlookup {

/// A connection for ServerSet that uses a library whose calls block. A thread of the connection
/// makes all calls of the library, unless the session knows its socket: once connected, the
/// searching thread calls the library itself, and the socket is shut down at the deadline.
///
/// `Session` has a constructor from (const Server&, const ServerSettings&), which connects and logs
/// in, and `Ask(const Statement&, const std::string& value, Answer&)`. `Statement` is the type of
/// the query's `GetStatement()`, which is copied for each search. A session that stores has
/// `bool Begin(const Insert&)`, `Insert(const StoredRow&)`, `Commit()` and `Rollback()`, with the
/// `Insert` of ServerStorage. Begin() returns false if the table has no transactions, so that each
/// row is kept at once. These operations and the destructor may block. The destructor takes
/// back what was not committed. A session whose calls end soon after its socket is shut down has
/// `FileDescriptor CopySocket()`, which may block, and returns an empty one if it finds no socket.
///
/// Threads: one at a time.
template <typename Session>
class ThreadedConnection {
public:
    /// Throws what `Session` and CallThread throw.
    ThreadedConnection(const Server& server, const ServerSettings& settings, Deadline deadline)
        : m_thread(std::make_unique<CallThread>(deadline)) {
        // Copies, because the thread may outlive the originals.
        const auto made = std::make_shared<Made>();
        m_thread->Do(deadline, [made, server, settings] {
            made->session = std::make_shared<Session>(server, settings);
            made->socket = CopySocket(*made->session, 0);
        });
        m_session = made->session.get();
        m_socket = std::move(made->socket);
        if (!m_socket) {
            m_thread->Keep(std::move(made->session));
            return;
        }
        m_owned = std::move(made->session);
        m_thread.reset();
    }

    ~ThreadedConnection() {
        if (!m_owned)
            return;
        const CancelWatch watch([this] { ShutDown(); }, Deadline(FAREWELL));
        m_owned.reset();
    }
    ThreadedConnection(const ThreadedConnection&) = delete;
    ThreadedConnection& operator=(const ThreadedConnection&) = delete;

    /// Throws what `Session`, CallThread and CancelWatch throw.
    template <typename Query>
    void Ask(const Query& query, const std::string& value, Deadline deadline, Answer& answer) {
        if (!m_thread)
            return DoHere(deadline, [&] { m_session->Ask(query.GetStatement(), value, answer); });
        // Copies, because the thread may outlive the originals.
        struct Question {
            std::decay_t<decltype(query.GetStatement())> statement;
            std::string value;
            Answer answer;
        };
        const auto question =
            std::make_shared<Question>(Question{query.GetStatement(), value, answer});
        m_thread->Do(deadline, [session = m_session, question] {
            session->Ask(question->statement, question->value, question->answer);
        });
        answer = std::move(question->answer);
    }

    /// Stores all rows in one transaction. Throws as Ask() does.
    template <typename Insert>
    void Store(const Insert& insert, const std::vector<StoredRow>& rows, const StoreTime& time,
               StoreProgress& progress) {
        // The thread may outlive both.
        const auto owned_insert = std::make_shared<const Insert>(insert);
        const auto owned_rows = std::make_shared<const std::vector<StoredRow>>(rows);
        const auto step = [this, &time](std::function<void()> call) {
            if (m_thread)
                m_thread->Do(time.ForStatement(), std::move(call));
            else
                DoHere(time.ForStatement(), call);
        };
        Session* const session = m_session;
        const auto has_transactions = std::make_shared<bool>(true);
        try {
            step([session, owned_insert, has_transactions] {
                *has_transactions = session->Begin(*owned_insert);
            });
            for (const StoredRow& row : *owned_rows) {
                progress.committing = !*has_transactions;
                step([session, owned_rows, &row] { session->Insert(row); });
                ++progress.row;
            }
            progress.committing = true;
            step([session] { session->Commit(); });
        } catch (const QuestionFault& fault) {
            progress.unknown = !*has_transactions && progress.row > 0;
            try {
                step([session] { session->Rollback(); });
            } catch (const ServerFault&) { // to the server, too, the transaction is over
                throw std::runtime_error(fault.what());
            }
            throw;
        }
    }

private:
    /// How long to wait for the server when a connection is closed. A search that fails may close
    /// several, and must still end in time.
    static constexpr std::chrono::milliseconds FAREWELL{5};

    struct Made {
        std::shared_ptr<Session> session;
        FileDescriptor socket;
    };

    template <typename T>
    static auto CopySocket(T& session, int) -> decltype(session.CopySocket()) {
        return session.CopySocket();
    }
    template <typename T>
    static FileDescriptor CopySocket(T&, long) {
        return FileDescriptor();
    }

    template <typename Call>
    void DoHere(Deadline deadline, Call&& call) {
        const CancelWatch watch([this] { ShutDown(); }, deadline);
        try {
            call();
        } catch (const std::runtime_error&) {
            if (watch.HasCancelled())
                throw ServerFault("no answer in time");
            throw;
        }
    }

    void ShutDown() const { ::shutdown(m_socket.Get(), SHUT_RDWR); }

    FileDescriptor m_socket;              ///< a copy of the library's, or empty
    std::unique_ptr<CallThread> m_thread; ///< null if there is a socket
    Session* m_session;                   ///< kept by the thread, or owned
    std::shared_ptr<Session> m_owned;
};

} // namespace kwlookup
