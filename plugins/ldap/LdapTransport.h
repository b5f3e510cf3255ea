// SPDX-License-Identifier: MIT
#pragma once

#include "families/servers/Deadline.h"
#include "families/servers/Server.h"
#include "families/servers/ServerStream.h"
#include "families/servers/TlsSettings.h"

#include <array>
#include <cstddef>
#include <exception>
#include <lber.h>
#include <ldap.h>
#include <memory>

namespace kwlookup {

/// A connected socket with libldap above it. libldap reads and writes through a ServerStream, so
/// that its calls end at the deadline, in TLS too, and it neither waits nor verifies by itself.
///
/// Threads: one at a time.
class LdapTransport {
public:
    /// Throws ServerFault.
    LdapTransport(const Server& server, Deadline deadline);
    LdapTransport(const LdapTransport&) = delete;
    LdapTransport& operator=(const LdapTransport&) = delete;

    /// Waits for nothing: what the server does not take at once is lost.
    ~LdapTransport();

    LDAP* Get() const { return m_ldap.get(); }

    /// All that libldap reads and writes from now on ends at `deadline`.
    void SetDeadline(Deadline deadline) { m_deadline = deadline; }

    /// As ServerStream::StartTls(). Throws ServerFault also for answers that are there already,
    /// which nobody has protected.
    void StartTls(const TlsSettings& settings, const Server& server);

    /// Throws what made a call of libldap fail: a ServerFault, or std::bad_alloc.
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

    Deadline m_deadline;
    ServerStream m_stream;
    std::array<char, 16 * 1024> m_buffer; ///< what has been read: an answer mostly fits
    std::size_t m_start = 0;
    std::size_t m_end = 0;
    std::exception_ptr m_fault; ///< what no exception can carry through libldap
    std::unique_ptr<LDAP, Close> m_ldap;
};

} // namespace kwlookup
