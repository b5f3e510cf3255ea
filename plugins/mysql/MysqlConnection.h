// SPDX-License-Identifier: MIT
#pragma once

#include "families/servers/Answer.h"
#include "families/servers/Deadline.h"
#include "families/servers/Server.h"
#include "families/servers/ServerSettings.h"
#include "families/servers/StoreTime.h"
#include "families/sql/StoreProgress.h"
#include "families/sql/StoredRow.h"
#include "plugins/mysql/MysqlInsert.h"
#include "plugins/mysql/MysqlQuery.h"
#include "plugins/mysql/MysqlStatement.h"

#include <cstddef>
#include <map>
#include <memory>
#include <mysql.h>
#include <string>
#include <vector>

namespace kwlookup {

/// A connection to a MariaDB or MySQL server, with its prepared statements.
///
/// No option file is read, and the server cannot request local files.
/// Threads: one at a time.
class MysqlConnection {
public:
    /// Connects and logs in. Throws ServerFault with the reason.
    MysqlConnection(const Server& server, const ServerSettings& settings, Deadline deadline);
    ~MysqlConnection();
    MysqlConnection(const MysqlConnection&) = delete;
    MysqlConnection& operator=(const MysqlConnection&) = delete;

    /// Put the rows for `value` into `answer`. Throws what MysqlStatement::Ask() throws, also if
    /// the server warns about a comparison or does not accept a value of this length.
    void Ask(const MysqlQuery& query, const std::string& value, Deadline deadline, Answer& answer);

    /// Stores all of `rows` in one transaction: all of them or none, where the table has
    /// transactions. Throws as Ask() does.
    void Store(const MysqlInsert& insert, const std::vector<StoredRow>& rows, const StoreTime& time,
               StoreProgress& progress);

private:
    struct Close {
        void operator()(MYSQL* mysql) const { ::mysql_close(mysql); }
    };

    void Connect(const Server& server, const std::string& address, const ServerSettings& settings,
                 Deadline deadline, bool& reached);
    MysqlStatement& Prepare(const std::string& text);
    bool IsForeignText(const std::string& value) const;
    void CheckLength(std::size_t length);
    std::string AskServer(const std::string& statement, unsigned column);
    void Execute(const std::string& statement);
    void BeginStoring();
    bool HasTransactions(const std::string& table);

    const bool m_tls;
    bool m_stores = false;           ///< the session is set to what storing needs
    std::size_t m_longest_value = 0; ///< that the server accepts; 0 if not known yet
    std::map<std::string, std::unique_ptr<MysqlStatement>> m_statements; ///< outlive what is below
    std::unique_ptr<MYSQL, Close> m_mysql;
};

} // namespace kwlookup
