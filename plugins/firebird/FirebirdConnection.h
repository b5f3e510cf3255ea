// SPDX-License-Identifier: MIT
#pragma once

#include "families/servers/Answer.h"
#include "families/servers/Deadline.h"
#include "families/servers/Server.h"
#include "families/servers/ServerSettings.h"
#include "families/servers/StoreTime.h"
#include "families/sql/StoreProgress.h"
#include "families/sql/StoredRow.h"
#include "plugins/firebird/FirebirdAttachment.h"
#include "plugins/firebird/FirebirdInsert.h"
#include "plugins/firebird/FirebirdQuery.h"
#include "plugins/firebird/FirebirdStatement.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace kwlookup {

/// A connection to a Firebird server or file, with its prepared statements.
///
/// Threads: one at a time.
class FirebirdConnection {
public:
    /// Connect and log in, in a thread that is abandoned at the deadline. Throws ServerFault.
    FirebirdConnection(const Server& server, const ServerSettings& settings, Deadline deadline);
    ~FirebirdConnection();
    FirebirdConnection(const FirebirdConnection&) = delete;
    FirebirdConnection& operator=(const FirebirdConnection&) = delete;

    /// Put the rows for `value` into `answer`. Throws ServerFault and QuestionFault.
    void Ask(const FirebirdQuery& query, const std::string& value, Deadline deadline,
             Answer& answer);

    /// Stores all rows in one transaction. Throws as Ask() does.
    void Store(const FirebirdInsert& insert, const std::vector<StoredRow>& rows,
               const StoreTime& time, StoreProgress& progress);

private:
    void AskInTime(const std::string& text, const std::string& value, Answer& answer);
    FirebirdStatement& Prepare(const std::string& text);

    std::shared_ptr<FirebirdAttachment> m_attachment;
    std::map<std::string, std::unique_ptr<FirebirdStatement>> m_statements;
};

} // namespace kwlookup
