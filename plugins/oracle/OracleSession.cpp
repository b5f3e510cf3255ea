// SPDX-License-Identifier: MIT
#include "plugins/oracle/OracleSession.h"

#include "families/servers/QuestionFault.h"
#include "families/servers/ServerFault.h"

#include <chrono>
#include <new>
#include <utility>

namespace kwlookup {
namespace {

/// Reloads with other statements must not fill the server's memory.
constexpr std::size_t MOST_STATEMENTS = 100;

/// The search ends before its call does, so that it can say why.
constexpr std::chrono::milliseconds LATER{100};

/// Where to connect: a host's service, or what the client library knows under the name.
std::string AddressOf(const Server& server, const ServerSettings& settings) {
    if (server.port == 0)
        return server.host;
    const auto limit = std::chrono::ceil<std::chrono::seconds>(settings.connect_timeout).count();
    return "(DESCRIPTION=(CONNECT_TIMEOUT=" + std::to_string(limit) +
           ")(ADDRESS=(PROTOCOL=TCP)(HOST=" + server.host +
           ")(PORT=" + std::to_string(server.port) +
           "))(CONNECT_DATA=(SERVICE_NAME=" + settings.database + ")))";
}

} // namespace

OracleSession::OracleSession(const Server& server, const ServerSettings& settings)
    : m_handles{OracleClient::Open(settings.of_type)} {
    try {
        Connect(server, settings);
    } catch (const OracleFailure& failure) {
        Close();
        throw ServerFault(failure.what());
    } catch (...) {
        Close();
        throw;
    }
}

OracleSession::~OracleSession() {
    m_statements.clear();
    Close();
}

void OracleSession::Connect(const Server& server, const ServerSettings& settings) {
    const OracleClient& client = m_handles.client;
    if (client.EnvNlsCreate(&m_handles.environment, oci::THREADED, nullptr, nullptr, nullptr,
                            nullptr, 0, nullptr, oci::UTF8, oci::UTF8) != oci::SUCCESS)
        throw ServerFault("the client library does not start");
    m_handles.error = Allocate(oci::HTYPE_ERROR);
    m_handles.server = Allocate(oci::HTYPE_SERVER);
    m_handles.service = Allocate(oci::HTYPE_SVCCTX);
    m_handles.session = Allocate(oci::HTYPE_SESSION);
    const std::string address = AddressOf(server, settings);
    m_handles.Check(client.ServerAttach(m_handles.server, m_handles.error, OracleText(address),
                                        static_cast<std::int32_t>(address.size()), oci::DEFAULT));
    m_is_attached = true;
    Set(m_handles.service, oci::HTYPE_SVCCTX, oci::ATTR_SERVER, m_handles.server, 0);
    for (const auto& [attribute, text] : {std::pair(oci::ATTR_USERNAME, &settings.user),
                                          std::pair(oci::ATTR_PASSWORD, &settings.password)})
        Set(m_handles.session, oci::HTYPE_SESSION, attribute, text->data(), text->size());
    m_handles.Check(client.SessionBegin(m_handles.service, m_handles.error, m_handles.session,
                                        oci::CRED_RDBMS, oci::DEFAULT));
    m_has_begun = true;
    Set(m_handles.service, oci::HTYPE_SVCCTX, oci::ATTR_SESSION, m_handles.session, 0);
    LimitCalls(settings);
}

/// A library before version 18 has no such limit, and goes on without.
void OracleSession::LimitCalls(const ServerSettings& settings) const {
    auto limit = static_cast<std::uint32_t>((settings.timeout + LATER).count());
    m_handles.client.AttrSet(m_handles.service, oci::HTYPE_SVCCTX, &limit, sizeof(limit),
                             oci::ATTR_CALL_TIMEOUT, m_handles.error);
}

void* OracleSession::Allocate(oci::HandleType type) const {
    void* handle = nullptr;
    if (m_handles.client.HandleAlloc(m_handles.environment, &handle, type, 0, nullptr) !=
        oci::SUCCESS)
        throw std::bad_alloc();
    return handle;
}

void OracleSession::Set(void* target, oci::HandleType type, oci::Attribute attribute,
                        const void* value, std::size_t size) const {
    m_handles.Check(m_handles.client.AttrSet(target, type, const_cast<void*>(value),
                                             static_cast<std::uint32_t>(size), attribute,
                                             m_handles.error));
}

/// Undoes as much of Connect() as was done.
void OracleSession::Close() {
    const OracleClient& client = m_handles.client;
    if (m_has_begun)
        client.SessionEnd(m_handles.service, m_handles.error, m_handles.session, oci::DEFAULT);
    if (m_is_attached)
        client.ServerDetach(m_handles.server, m_handles.error, oci::DEFAULT);
    for (const auto& [handle, type] : {std::pair(m_handles.session, oci::HTYPE_SESSION),
                                       std::pair(m_handles.service, oci::HTYPE_SVCCTX),
                                       std::pair(m_handles.server, oci::HTYPE_SERVER),
                                       std::pair(m_handles.error, oci::HTYPE_ERROR),
                                       std::pair(m_handles.environment, oci::HTYPE_ENV)})
        if (handle)
            client.HandleFree(handle, type);
}

void OracleSession::Ask(const Texts& texts, const std::string& value, Answer& answer) {
    // A statement that was prepared before may not fit the table any more.
    for (bool again = m_statements.count(texts->text) != 0;; again = false) {
        try {
            return Prepare(*texts).Ask(value, answer);
        } catch (const OracleFailure& failure) {
            if (failure.IsOfServer())
                throw ServerFault(failure.what());
            if (!again)
                throw QuestionFault(failure.what());
        }
        m_statements.erase(texts->text);
        answer.Clear();
    }
}

OracleStatement& OracleSession::Prepare(const OracleTexts& texts) {
    const auto known = m_statements.find(texts.text);
    if (known != m_statements.end())
        return *known->second;
    if (m_statements.size() >= MOST_STATEMENTS)
        m_statements.clear();
    auto statement = std::make_unique<OracleStatement>(m_handles, texts);
    return *(m_statements[texts.text] = std::move(statement));
}

} // namespace kwlookup
