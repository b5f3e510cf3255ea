// SPDX-License-Identifier: MIT
#pragma once

#include "families/servers/Answer.h"
#include "families/servers/Deadline.h"
#include "families/servers/Server.h"
#include "families/servers/ServerSettings.h"
#include "families/servers/StoreTime.h"
#include "families/sql/StoreProgress.h"
#include "families/sql/StoredRow.h"
#include "plugins/postgres/PostgresInsert.h"
#include "plugins/postgres/PostgresQuery.h"

#include <libpq-fe.h>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace kwlookup {

/// A connection to a PostgreSQL server, with its prepared statements.
///
/// The process's environment and its user's files have no effect, with the exceptions listed in
/// kw_lookup_postgres(5).
/// Threads: one at a time.
class PostgresConnection {
public:
    /// Connects and logs in. Throws ServerFault with the reason.
    PostgresConnection(const Server& server, const ServerSettings& settings, Deadline deadline);

    /// Put the rows for `value` into `answer`. A value that the database cannot contain, such as
    /// one with a NUL byte, has none.
    ///
    /// Throws ServerFault if the connection breaks or the server stops or is too busy, and
    /// QuestionFault with the server's reason for another error.
    void Ask(const PostgresQuery& query, const std::string& value, Deadline deadline,
             Answer& answer);

    /// Stores all of `rows` in one transaction: all of them or none. Throws as Ask() does,
    /// QuestionFault also for a text with a NUL byte in a column that is no bytea.
    void Store(const PostgresInsert& insert, const std::vector<StoredRow>& rows,
               const StoreTime& time, StoreProgress& progress);

private:
    struct Free {
        void operator()(PGconn* connection) const { ::PQfinish(connection); }
        void operator()(PGresult* result) const { ::PQclear(result); }
    };

    using Result = std::unique_ptr<PGresult, Free>;

    /// A prepared statement.
    struct Prepared {
        std::string name;
        bool binary; ///< its parameter is sent as raw bytes
    };

    void Connect(const Server& server, const std::string& address, const ServerSettings& settings,
                 Deadline deadline, bool& reached);
    void LetReadsWait();
    const Prepared& Prepare(const std::string& statement, Deadline deadline);
    void Forget(const std::string& statement, Deadline deadline);
    Result Execute(const Prepared& prepared, const std::string& value, Deadline deadline);
    Result Command(const char* text, Deadline deadline);
    std::vector<Oid> PrepareInsert(const std::string& statement, Deadline deadline);
    void Insert(const PostgresInsert& insert, const StoredRow& row, const std::vector<Oid>& types,
                Deadline deadline);
    bool CanBeHeld(const std::string& value, Deadline deadline);
    Result Finish(int sent, Deadline deadline);
    Result Next(Deadline deadline);
    void Wait(short events, Deadline deadline) const;
    [[noreturn]] void FailConnection() const;
    [[noreturn]] static void Fail(const PGresult* result);

    std::unique_ptr<PGconn, Free> m_connection;
    bool m_reads_wait = false;                  ///< see LetReadsWait()
    std::map<std::string, Prepared> m_prepared; ///< by statement
};

} // namespace kwlookup
