// SPDX-License-Identifier: MIT
#include "plugins/ldap/LdapTransport.h"

#include "families/servers/ServerFault.h"
#include "families/servers/Socket.h"
#include "plugins/ldap/LibldapStart.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>
#include <openldap.h>
#include <string>
#include <string_view>
#include <sys/time.h>

namespace kwlookup {
namespace {

/// libldap allocates the memory for a message once it has read its length.
constexpr ber_len_t LONGEST_MESSAGE = 16 * 1024 * 1024;

void Require(bool done) {
    if (!done)
        throw std::bad_alloc();
}

} // namespace

LdapTransport::LdapTransport(const Server& server, Deadline deadline)
    : m_deadline(deadline), m_stream(ConnectSocket(server, deadline)) {
    AwaitLibldap(deadline);
    // libldap needs a descriptor here, but never uses it; see Control().
    constexpr ber_socket_t MARK = 0;
    LDAP* ldap = nullptr;
    Require(::ldap_init_fd(MARK, LDAP_PROTO_EXT, nullptr, &ldap) == LDAP_SUCCESS);
    m_ldap.reset(ldap);
    Sockbuf* buffer = nullptr;
    Require(::ldap_get_option(ldap, LDAP_OPT_SOCKBUF, &buffer) == LDAP_OPT_SUCCESS);
    static Sockbuf_IO layer = {Setup, Remove, Control, Read, Write, Remove};
    Require(::ber_sockbuf_add_io(buffer, &layer, LBER_SBIOD_LEVEL_PROVIDER, this) == 0);
    ber_len_t longest = LONGEST_MESSAGE;
    ::ber_sockbuf_ctrl(buffer, LBER_SB_OPT_SET_MAX_INCOMING, &longest);
    SetOptions();
}

LdapTransport::~LdapTransport() {
    m_deadline = Deadline(std::chrono::milliseconds(0));
}

/// Overrides what libldap reads from files and environment variables, which are for a user's
/// programs.
void LdapTransport::SetOptions() {
    const auto set = [this](int option, const void* value) {
        Require(::ldap_set_option(m_ldap.get(), option, value) == LDAP_OPT_SUCCESS);
    };
    const int version = LDAP_VERSION3;
    const int none = 0;
    const timeval endless{-1, 0}; // the deadline is the limit
    set(LDAP_OPT_PROTOCOL_VERSION, &version);
    set(LDAP_OPT_SIZELIMIT, &none);
    set(LDAP_OPT_TIMELIMIT, &none);
    set(LDAP_OPT_TIMEOUT, &endless);
    set(LDAP_OPT_NETWORK_TIMEOUT, &endless);
    set(LDAP_OPT_REFERRALS, LDAP_OPT_OFF);
    set(LDAP_OPT_RESTART, LDAP_OPT_OFF);
}

void LdapTransport::StartTls(const TlsSettings& settings, const Server& server) {
    if (m_start != m_end)
        throw ServerFault("the server answered before TLS began");
    m_stream.StartTls(settings, server, m_deadline);
}

void LdapTransport::Fail(int code) {
    if (m_fault)
        std::rethrow_exception(m_fault);
    if (code == LDAP_NO_MEMORY)
        throw std::bad_alloc();
    throw ServerFault(std::string("no LDAP: ") + ::ldap_err2string(code));
}

int LdapTransport::Setup(Sockbuf_IO_Desc* layer, void* transport) {
    layer->sbiod_pvt = transport;
    return 0;
}

int LdapTransport::Remove(Sockbuf_IO_Desc*) {
    return 0;
}

int LdapTransport::Control(Sockbuf_IO_Desc*, int option, void*) {
    // So that libldap does not wait by itself, but reads, which has the deadline as its limit.
    return option == LBER_SB_OPT_DATA_READY;
}

template <typename Work>
ber_slen_t LdapTransport::Guard(Sockbuf_IO_Desc* layer, Work&& work) {
    auto& transport = *static_cast<LdapTransport*>(layer->sbiod_pvt);
    try {
        return static_cast<ber_slen_t>(work(transport));
    } catch (...) {
        transport.m_fault = std::current_exception();
        errno = EIO;
        return -1;
    }
}

ber_slen_t LdapTransport::Read(Sockbuf_IO_Desc* layer, void* buffer, ber_len_t size) {
    return Guard(layer, [&](LdapTransport& transport) {
        if (transport.m_start == transport.m_end)
            transport.FillBuffer();
        const std::size_t taken = std::min<std::size_t>(size, transport.m_end - transport.m_start);
        std::memcpy(buffer, transport.m_buffer.data() + transport.m_start, taken);
        transport.m_start += taken;
        return taken;
    });
}

void LdapTransport::FillBuffer() {
    // If there are always more bytes to read, no call waits and checks the deadline.
    if (m_deadline.IsOver())
        throw ServerFault("no answer in time");
    m_start = m_end = 0;
    m_end = m_stream.Read(m_buffer.data(), m_buffer.size(), m_deadline);
    m_answered.Read({m_buffer.data(), m_end}, [this](std::uint32_t id) { CheckId(id); });
}

/// libldap drops an answer to a request that it did not send, as if there were none.
void LdapTransport::CheckId(std::uint32_t id) const {
    constexpr std::uint32_t OF_SERVER = 0; // "notice of disconnection"
    if (id != m_id && id != OF_SERVER)
        throw ServerFault("no LDAP: an answer to another request");
}

ber_slen_t LdapTransport::Write(Sockbuf_IO_Desc* layer, void* buffer, ber_len_t size) {
    return Guard(layer, [&](LdapTransport& transport) {
        const std::string_view bytes(static_cast<const char*>(buffer), size);
        transport.m_asked.Read(bytes, [&](std::uint32_t id) { transport.m_id = id; });
        transport.m_stream.Write(bytes, transport.m_deadline);
        return size;
    });
}

} // namespace kwlookup
