// SPDX-License-Identifier: MIT
#pragma once

#include "families/servers/Deadline.h"
#include "families/servers/Server.h"
#include "families/servers/ServerStream.h"
#include "families/servers/TlsSettings.h"
#include "plugins/ldap/LdapMessageIds.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <lber.h>
#include <ldap.h>
#include <memory>

namespace kwlookup {

/// A connected socket for libldap. libldap reads and writes through a ServerStream, so that its
/// calls end at the deadline, with TLS too, and it neither waits nor verifies certificates itself.
///
/// Threads: one at a time.
class LdapTransport {
public:
    /// Throws ServerFault.
    LdapTransport(const Server& server, Deadline deadline);
    LdapTransport(const LdapTransport&) = delete;
    LdapTransport& operator=(const LdapTransport&) = delete;

    /// Does not wait: what the server does not accept at once is lost.
    ~LdapTransport();

    LDAP* Get() const { return m_ldap.get(); }

    /// Make all later reads and writes of libldap end at `deadline`.
    void SetDeadline(Deadline deadline) { m_deadline = deadline; }

    /// As ServerStream::StartTls(). Throws ServerFault also if the server has sent unencrypted
    /// answers after that to StartTLS.
    void StartTls(const TlsSettings& settings, const Server& server);

    /// Throws the cause of a failed call of libldap: a ServerFault or std::bad_alloc.
    [[noreturn]] void Fail(int code);

private:
    struct Close {
        void operator()(LDAP* ldap) const { ::ldap_unbind_ext(ldap, nullptr, nullptr); }
    };

    // The operations of a layer of liblber.
    static int Setup(Sockbuf_IO_Desc* layer, void* transport);
    static int Remove(Sockbuf_IO_Desc* layer);
    static int Control(Sockbuf_IO_Desc* layer, int option, void* value);
    static ber_slen_t Read(Sockbuf_IO_Desc* layer, void* buffer, ber_len_t size);
    static ber_slen_t Write(Sockbuf_IO_Desc* layer, void* buffer, ber_len_t size);
    template <typename Work>
    static ber_slen_t Guard(Sockbuf_IO_Desc* layer, Work&& work);

    void SetOptions();
    void FillBuffer();
    void CheckId(std::uint32_t id) const;

    Deadline m_deadline;
    ServerStream m_stream;
    std::array<char, 16 * 1024> m_buffer; ///< bytes read ahead; most answers fit
    std::size_t m_start = 0;
    std::size_t m_end = 0;
    LdapMessageIds m_asked;
    LdapMessageIds m_answered;
    std::uint32_t m_id = 0;     ///< of the last request; there is one at a time
    std::exception_ptr m_fault; ///< an exception, which must not pass through libldap
    std::unique_ptr<LDAP, Close> m_ldap;
};

} // namespace kwlookup
