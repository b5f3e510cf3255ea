// SPDX-License-Identifier: MIT
#pragma once

#include "families/servers/Deadline.h"

#include <csignal>
#include <mysql.h>
#include <optional>
#include <string>

namespace kwlookup {

/// While an object exists, calls of MariaDB's connector in this thread wait no longer than the
/// deadline.
///
/// In every call, the connector lets the application wait for its sockets (MARIADB_OPT_IO_WAIT).
/// Its calls _start and _cont are no substitute. If connect(2) fails at once, they close the socket
/// twice, and its number may by then belong to another thread. They also wait inside OpenSSL.
class MysqlWait {
public:
    /// The value for the option MYSQL_OPT_WRITE_TIMEOUT, in seconds. With TLS the connector waits
    /// to read when it has to write; this value identifies those waits.
    static constexpr unsigned WRITE_MARK = 100001;

    /// With `tls`, blocks SIGPIPE, which OpenSSL may cause.
    MysqlWait(Deadline deadline, bool tls);
    ~MysqlWait();
    MysqlWait(const MysqlWait&) = delete;
    MysqlWait& operator=(const MysqlWait&) = delete;

    /// The object of this thread, which must exist.
    static MysqlWait& Current();

    /// The value of MARIADB_OPT_IO_WAIT.
    static int ForSocket(my_socket socket, my_bool read, int timeout);

    /// Call before connecting to a server whose certificate must be for `tls_name`.
    void Connect(std::string tls_name);
    const std::string& GetTlsName() const { return m_tls_name; }
    void TlsBegins() { m_tls_begun = true; }
    bool HasTlsBegun() const { return m_tls_begun; }

    /// Call when the connector has connected `socket` and logged in, before other waits for it.
    /// Throws ServerFault.
    static void LimitReads(int socket);

    /// Record `reason` unless there is one. The connector may report a less useful one.
    void Fail(const std::string& reason);
    const std::string& GetReason() const { return m_reason; }

private:
    int Wait(int socket, short events);
    bool IsReadable(int socket) const;

    const Deadline m_deadline;
    std::optional<sigset_t> m_signals; ///< the signal mask to restore
    bool m_had_sigpipe = false;
    bool m_connects = false;
    bool m_logs_in = false; ///< LimitReads() is not called yet
    bool m_tls_begun = false;
    std::string m_tls_name;
    std::string m_reason;
};

} // namespace kwlookup
