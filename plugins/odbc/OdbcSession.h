// SPDX-License-Identifier: MIT
#pragma once

#include "families/servers/Answer.h"
#include "families/servers/ConnectedSockets.h"
#include "families/servers/Server.h"
#include "families/servers/ServerSettings.h"
#include "families/sql/InsertStatement.h"
#include "families/sql/SelectStatement.h"
#include "families/sql/StoredRow.h"
#include "plugins/odbc/OdbcHandle.h"
#include "plugins/odbc/OdbcInserter.h"
#include "plugins/odbc/OdbcStatement.h"
#include "text/FileDescriptor.h"

#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace kwlookup {

/// A connection through a driver, with its prepared statements.
///
/// Threads: one at a time. All operations block as long as the driver does.
class OdbcSession {
public:
    using Select = std::shared_ptr<const SelectStatement>;

    /// Connect and log in. Throws what OdbcDiagnosis::Fail() throws.
    OdbcSession(const Server& server, const ServerSettings& settings);
    ~OdbcSession();
    OdbcSession(const OdbcSession&) = delete;
    OdbcSession& operator=(const OdbcSession&) = delete;

    /// A descriptor of the driver's socket. Empty if the driver may not notice that its socket is
    /// shut down, or if it is not certain which socket is the driver's.
    FileDescriptor CopySocket();

    /// Put the rows for `value` into `answer`. Throws what OdbcStatement throws.
    void Ask(const Select& select, const std::string& value, Answer& answer);

    /// Begins a transaction that stores. Returns false if the table has no transactions. Throws
    /// what OdbcDiagnosis::Fail() throws, as all of these.
    bool Begin(const InsertStatement& insert);
    /// Throws what OdbcInserter throws besides.
    void Insert(const StoredRow& row);
    void Commit();
    void Rollback();

private:
    /// A statement. It keeps `select`, because the address of that is its key.
    struct Prepared {
        Select select;
        std::unique_ptr<OdbcStatement> statement;
    };

    void Connect(const Server& server, const ServerSettings& settings);
    std::string Info(SQLUSMALLINT what) const;
    int AskPort();
    OdbcStatement& Prepare(const Select& select);
    template <typename Call>
    void Checked(Call&& call);
    void SetAutocommit(bool on);
    void Execute(const std::string& statement);
    bool HasTransactions(const std::string& database, const std::string& table) const;
    void End(SQLSMALLINT how);
    bool IsDead() const;

    const OdbcLimits m_limits;
    const int m_port; ///< of the server; 0 if only the driver knows it
    const std::vector<ConnectedSocket> m_before = ListConnectedSockets(); ///< of this process
    OdbcHandle<SQL_HANDLE_ENV> m_environment{SQL_NULL_HANDLE};
    std::unique_ptr<OdbcHandle<SQL_HANDLE_DBC>> m_connection;
    char m_quote = ' ';
    bool m_folds_names = false;
    std::map<const SelectStatement*, Prepared> m_statements;
    std::unique_ptr<OdbcInserter> m_inserter; ///< of a transaction
};

} // namespace kwlookup
