// SPDX-License-Identifier: MIT
#pragma once

#include "families/servers/Deadline.h"

#include <csignal>
#include <mysql.h>
#include <optional>
#include <string>

namespace kwlookup {

/// While it is there, calls of MariaDB's connector in this thread wait no longer than the deadline.
///
/// The connector lets the host wait for its sockets (MARIADB_OPT_IO_WAIT), in every call. Its
/// calls _start and _cont are no substitute: they close a socket twice that connect(2) refuses at
/// once, by then perhaps one of another thread, and they wait inside of OpenSSL.
class MysqlWait {
public:
    /// What the option MYSQL_OPT_WRITE_TIMEOUT must be, in seconds: the connector waits in TLS to
    /// read where it has to write, and that value tells one from the other.
    static constexpr unsigned WRITE_MARK = 100001;

    /// With `tls`, SIGPIPE cannot reach the host: OpenSSL does not care for it.
    MysqlWait(Deadline deadline, bool tls);
    ~MysqlWait();
    MysqlWait(const MysqlWait&) = delete;
    MysqlWait& operator=(const MysqlWait&) = delete;

    /// That of this thread, of which there must be one.
    static MysqlWait& Current();

    /// The value of MARIADB_OPT_IO_WAIT.
    static int ForSocket(my_socket socket, my_bool read, int timeout);

    /// A call connects, to a server whose certificate must be for `tls_name`.
    void Connect(std::string tls_name);
    const std::string& GetTlsName() const { return m_tls_name; }
    void TlsBegins() { m_tls_begun = true; }
    bool HasTlsBegun() const { return m_tls_begun; }

    /// Keeps the first reason, which the connector may replace by a worse one.
    void Fail(const std::string& reason);
    const std::string& GetReason() const { return m_reason; }

private:
    int Wait(int socket, short events);

    const Deadline m_deadline;
    std::optional<sigset_t> m_signals; ///< blocked before
    bool m_had_sigpipe = false;
    bool m_connects = false;
    bool m_tls_begun = false;
    std::string m_tls_name;
    std::string m_reason;
};

} // namespace kwlookup
