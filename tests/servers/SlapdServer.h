// SPDX-License-Identifier: MIT
#pragma once

#include "servers/TestServer.h"

#include <string>
#include <vector>

namespace kwlookup {

/// slapd with the tree dc=example,dc=test and the schemas core, cosine and inetorgperson.
class SlapdServer final : public TestServer {
public:
    static constexpr const char* ADMIN = "cn=admin,dc=example,dc=test";
    static constexpr const char* ADMIN_PASSWORD = "secret of the admin";

    /// `settings` are lines for the database in slapd.conf, such as access rules.
    explicit SlapdServer(const TestCertificate* certificate = nullptr,
                         const std::string& settings = "");

    std::string GetTlsHost() const { return "127.0.0.1:" + std::to_string(m_tls_port); }

    /// Adds entries, in LDIF, as the administrator.
    void Add(const std::string& ldif);

private:
    std::vector<std::string> GetCommand() const override;
    bool Answers() override;
    std::string GetSocketUrl() const;
    void WriteConfiguration() const;

    std::string m_settings;
    int m_tls_port;
};

} // namespace kwlookup
