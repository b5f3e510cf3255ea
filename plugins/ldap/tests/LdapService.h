// SPDX-License-Identifier: MIT
#pragma once

#include "servers/ServiceDefaults.h"
#include "servers/SlapdServer.h"

#include <string>
#include <vector>

/// A server with a few people, and with an entry that may read them.
class LdapService : public ServiceDefaults {
public:
    LdapService() {
        m_server.Add("dn: cn=reader,dc=example,dc=test\n"
                     "objectClass: person\n"
                     "cn: reader\n"
                     "sn: Reader\n"
                     "userPassword: secret of the test\n"
                     "\n"
                     "dn: uid=jdoe,dc=example,dc=test\n"
                     "objectClass: inetOrgPerson\n"
                     "uid: jdoe\n"
                     "cn: John Doe\n"
                     "sn: Doe\n"
                     "mail: jdoe@corp.lan\n"
                     "description: OK\n");
    }

    kwlookup::SlapdServer& GetServer() { return m_server; }
    std::string GetTlsHost() const { return m_server.GetTlsHost(); }
    std::vector<std::string> GetTlsModes() const { return {"require"}; }
    std::string GetNameFault() const { return "address mismatch"; }
    std::string GetType() const { return "ldap"; }
    std::string GetLogin() const {
        return "BindDn=cn=reader,dc=example,dc=test|Password=secret of the test|"
               "Base=dc=example,dc=test|Attributes=description";
    }
    std::string GetQuery() const { return "(mail=$s)"; }

private:
    kwlookup::SlapdServer m_server{nullptr, "index mail eq\n"
                                            "access to attrs=userPassword by * auth\n"
                                            "access to attrs=homePhone by * none\n"
                                            "access to * by users read by * none\n"};
};

/// TLS begins at the usual port.
class LdapStartTlsService : public LdapService {
public:
    std::string GetTlsHost() { return GetServer().GetHost(); }
    std::vector<std::string> GetTlsModes() const { return {"starttls"}; }
};
