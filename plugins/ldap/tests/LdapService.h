// SPDX-License-Identifier: MIT
#pragma once

#include "servers/SlapdServer.h"

#include <string>
#include <vector>

/// A server with a few people, and with an entry that may read them.
class LdapService {
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
    std::string TlsHost() const { return m_server.TlsHost(); }
    std::vector<std::string> TlsModes() const { return {"require"}; }
    std::string Type() const { return "ldap"; }
    std::string Login() const {
        return "BindDn=cn=reader,dc=example,dc=test|Password=secret of the test|"
               "Base=dc=example,dc=test|Attributes=description";
    }
    std::string Query() const { return "(mail=$s)"; }

private:
    kwlookup::SlapdServer m_server{nullptr, "index mail eq\n"
                                            "access to attrs=userPassword by * auth\n"
                                            "access to attrs=homePhone by * none\n"
                                            "access to * by users read by * none\n"};
};

/// TLS begins at the usual port.
class LdapStartTlsService : public LdapService {
public:
    std::string TlsHost() { return GetServer().Host(); }
    std::vector<std::string> TlsModes() const { return {"starttls"}; }
};
