// SPDX-License-Identifier: MIT
#include "plugins/firebird/FirebirdAttachment.h"

#include "families/servers/CancelWatch.h"
#include "plugins/firebird/FirebirdStatus.h"

#include <string_view>

namespace kwlookup {

namespace {

/// The parameters of a connection, each with its length before it.
class Parameters {
public:
    void Add(char name, std::string_view value) {
        m_bytes.append({name, static_cast<char>(value.size())}).append(value);
    }
    const std::string& GetBytes() const { return m_bytes; }

private:
    std::string m_bytes = std::string(1, isc_dpb_version1);
};

/// "HOST/PORT:DATABASE", or the path of a file.
std::string NameOf(const Server& server, const std::string& database) {
    if (server.port == 0)
        return database;
    const bool brackets = server.host.find(':') != std::string::npos;
    return (brackets ? '[' + server.host + ']' : server.host) + '/' + std::to_string(server.port) +
           ':' + database;
}

} // namespace

FirebirdAttachment::FirebirdAttachment(const Server& server, const ServerSettings& settings)
    : m_is_embedded(server.port == 0), m_sockets(server.port) {
    const std::size_t blank = settings.of_type.find(' ');
    const std::string role = settings.of_type.substr(blank + 1);
    Parameters parameters;
    parameters.Add(isc_dpb_lc_ctype, settings.of_type.substr(0, blank));
    if (!settings.user.empty()) {
        parameters.Add(isc_dpb_user_name, settings.user);
        // The library would replace an empty one by that of the environment.
        parameters.Add(isc_dpb_password, settings.password.empty() ? " " : settings.password);
    }
    if (!role.empty())
        parameters.Add(isc_dpb_sql_role_name, role);
    parameters.Add(isc_dpb_utf8_filename, "");
    const std::string name = NameOf(server, settings.database);
    FirebirdStatus status;
    ::isc_attach_database(status.Get(), static_cast<short>(name.size()), name.c_str(), &m_handle,
                          static_cast<short>(parameters.GetBytes().size()),
                          parameters.GetBytes().data());
    status.CheckConnection();
    m_sockets.Take();
    m_attached = m_handle;
    try {
        StartTransaction();
    } catch (...) {
        ::isc_detach_database(status.Get(), &m_handle);
        throw;
    }
}

FirebirdAttachment::~FirebirdAttachment() {
    FirebirdStatus status;
    const CancelWatch watch([this] { Cancel(); }, Deadline(FAREWELL));
    ::isc_rollback_transaction(status.Get(), &m_transaction);
    ::isc_detach_database(status.Get(), &m_handle);
}

void FirebirdAttachment::StartTransaction() {
    static const char OPTIONS[] = {isc_tpb_version3, isc_tpb_read, isc_tpb_read_committed,
                                   isc_tpb_rec_version, isc_tpb_nowait};
    FirebirdStatus status;
    ::isc_start_transaction(status.Get(), &m_transaction, 1, &m_handle, sizeof(OPTIONS), OPTIONS);
    status.CheckConnection();
}

void FirebirdAttachment::Cancel() {
    FirebirdStatus status;
    isc_db_handle handle = m_attached;
    ::fb_cancel_operation(status.Get(), &handle, m_is_embedded ? fb_cancel_raise : fb_cancel_abort);
    // The second one already comes after the call should have ended.
    if (++m_cancelled > 1)
        m_sockets.Shutdown();
}

} // namespace kwlookup
