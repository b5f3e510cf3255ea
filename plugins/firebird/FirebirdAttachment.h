// SPDX-License-Identifier: MIT
#pragma once

#include "families/servers/Server.h"
#include "families/servers/ServerSettings.h"

#include <chrono>
#include <ibase.h>
#include <string>

namespace kwlookup {

/// A connection to a database, and a transaction in which its tables are read.
class FirebirdAttachment {
public:
    /// The name of the server that is none: the database is a file, opened in this process.
    static constexpr char EMBEDDED[] = "embedded";

    /// How long a server has to answer a farewell: a search that fails closes several connections,
    /// and must still end in time.
    static constexpr std::chrono::milliseconds FAREWELL{5};

    /// Connects and logs in, however long that takes. Throws ServerFault.
    FirebirdAttachment(const Server& server, const ServerSettings& settings);

    /// Says farewell to a server that answers at once, and leaves another without.
    ~FirebirdAttachment();
    FirebirdAttachment(const FirebirdAttachment&) = delete;
    FirebirdAttachment& operator=(const FirebirdAttachment&) = delete;

    /// Texts come and go in UTF-8.
    bool IsUtf8() const { return m_is_utf8; }

    /// For calls of the client library.
    isc_db_handle* GetHandle() { return &m_handle; }
    /// One that sees what others have stored when a statement begins, and stands in nobody's way.
    isc_tr_handle* GetTransaction() { return &m_transaction; }

    /// Ends the call that another thread makes: the connection to a server is of no more use then.
    /// Threads: any, while the object is there.
    void Cancel();

private:
    void StartTransaction();

    const bool m_is_embedded;
    const bool m_is_utf8;
    isc_db_handle m_handle = 0;
    isc_db_handle m_attached = 0; ///< the same, which no call changes
    isc_tr_handle m_transaction = 0;
};

} // namespace kwlookup
