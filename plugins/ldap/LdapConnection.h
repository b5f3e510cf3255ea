// SPDX-License-Identifier: MIT
#pragma once

#include "families/servers/Answer.h"
#include "families/servers/Deadline.h"
#include "families/servers/Server.h"
#include "families/servers/ServerSettings.h"
#include "plugins/ldap/LdapQuery.h"
#include "plugins/ldap/LdapTransport.h"

#include <ldap.h>
#include <memory>
#include <string>
#include <vector>

namespace kwlookup {

/// A connection to a server.
///
/// Threads: one at a time.
class LdapConnection {
public:
    /// Connects, and logs in as `settings.user`, by SASL EXTERNAL, or not at all. `settings` must
    /// outlive the connection. Throws ServerFault.
    LdapConnection(const Server& server, const ServerSettings& settings, Deadline deadline);

    /// Search for `question` of `query`. Throws ServerFault, QuestionFault with the server's error,
    /// and std::runtime_error if the answer has to be abandoned.
    void Ask(const LdapQuery& query, const std::string& question, Deadline deadline,
             Answer& answer);

private:
    /// A request for one server.
    struct Request {
        const char* base;
        int scope;
        const char* filter;
    };

    struct Result {
        int code;
        std::string text; ///< its meaning and the server's message
        std::vector<std::string> urls;
    };

    struct FreeMessage {
        void operator()(LDAPMessage* message) const { ::ldap_msgfree(message); }
    };
    using Message = std::unique_ptr<LDAPMessage, FreeMessage>;
    class Entry;

    void StartTls(const Server& server);
    void Login();

    Message Receive(int id);
    Result ReceiveResult(int id) { return ReadResult(*Receive(id)); }
    Result ReadResult(LDAPMessage& message);
    std::vector<std::string> ReadReference(LDAPMessage& message);
    void AddEntry(LDAPMessage& message, const LdapQuery& query, Answer& answer);

    /// `followed` counts the referrals of the whole search.
    void Search(const LdapQuery& query, const Request& request, Deadline deadline, Answer& answer,
                int& followed);
    /// Continue the search at one of `urls`.
    void Follow(const std::vector<std::string>& urls, const LdapQuery& query,
                const Request& request, Deadline deadline, Answer& answer, int& followed);

    const ServerSettings& m_settings;
    LdapTransport m_transport;
};

} // namespace kwlookup
