// SPDX-License-Identifier: MIT
#pragma once

#include "families/servers/Server.h"
#include "families/servers/ServerSettings.h"
#include "plugins/firebird/LibrarySockets.h"

#include <chrono>
#include <ibase.h>
#include <string>

namespace kwlookup {

/// A connection to a database, with the transaction that reads its tables.
class FirebirdAttachment {
public:
    /// The name in messages of a database file that this process opens itself.
    static constexpr char EMBEDDED[] = "embedded";

    /// How long to wait for a server when a connection is closed. A search that fails may close
    /// several, and must still end in time.
    static constexpr std::chrono::milliseconds FAREWELL{5};

    /// Connect and log in. This may block for any time. Throws ServerFault.
    FirebirdAttachment(const Server& server, const ServerSettings& settings);

    /// Close the connection. The protocol's own goodbye is omitted if the server does not answer
    /// it at once.
    ~FirebirdAttachment();
    FirebirdAttachment(const FirebirdAttachment&) = delete;
    FirebirdAttachment& operator=(const FirebirdAttachment&) = delete;

    /// For calls of the client library.
    isc_db_handle* GetHandle() { return &m_handle; }
    /// Each statement sees what was committed before it began. The transaction blocks no other.
    isc_tr_handle* GetTransaction() { return &m_transaction; }

    /// End the call that another thread makes. Afterwards a connection to a server is unusable.
    /// Threads: any, while the object exists.
    void Cancel();

private:
    void StartTransaction();

    const bool m_is_embedded;
    LibrarySockets m_sockets;
    int m_cancelled = 0; ///< how often
    isc_db_handle m_handle = 0;
    isc_db_handle m_attached = 0; ///< a copy of m_handle that no call of the library changes
    isc_tr_handle m_transaction = 0;
};

} // namespace kwlookup
