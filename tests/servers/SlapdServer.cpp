// SPDX-License-Identifier: MIT
#include "servers/SlapdServer.h"

#include "servers/ServerProgram.h"

#include <filesystem>

namespace kwlookup {

SlapdServer::SlapdServer(const TestCertificate* certificate, const std::string& settings)
    : TestServer(certificate), m_settings(settings), m_tls_port(FreePort()) {
    std::filesystem::create_directory(GetDir().Path("data"));
    GiveToServer(GetDir().Path("data"));
    Start();
    Add("dn: dc=example,dc=test\n"
        "objectClass: dcObject\n"
        "objectClass: organization\n"
        "dc: example\n"
        "o: Example\n");
}

void SlapdServer::WriteConfiguration() const {
    std::string conf;
    for (const char* schema : {"core", "cosine", "inetorgperson"})
        conf +=
            "include " + ServerFile(std::string("etc/ldap/schema/") + schema + ".schema") + "\n";
    conf += "modulepath " + ServerFile("usr/lib/ldap") + "\n";
    conf += "moduleload back_mdb\n";
    conf += "pidfile " + GetDir().Path("pid") + "\n";
    if (HasTls())
        conf += "TLSCertificateFile " + GetCertificateFile() + "\nTLSCertificateKeyFile " +
                GetKeyFile() + "\nTLSCACertificateFile " + GetCaFile() + "\nTLSVerifyClient try\n";
    conf += "database mdb\n"
            "suffix dc=example,dc=test\n"
            "maxsize 67108864\n"
            "dbnosync\n";
    conf += std::string("rootdn ") + ADMIN + "\nrootpw \"" + ADMIN_PASSWORD + "\"\n";
    conf += "directory " + GetDir().Path("data") + "\n" + m_settings;
    GiveToServer(GetDir().Write("slapd.conf", conf));
}

std::vector<std::string> SlapdServer::GetCommand() const {
    WriteConfiguration();
    std::string urls = "ldap://" + GetHost() + " " + GetSocketUrl();
    if (HasTls())
        urls += " ldaps://" + GetTlsHost();
    return {ServerFile("usr/sbin/slapd"), "-f", GetDir().Path("slapd.conf"), "-h", urls, "-d", "0"};
}

std::string SlapdServer::GetSocketUrl() const {
    std::string url = "ldapi://";
    for (const char c : GetSocketPath())
        url += c == '/' ? "%2F" : std::string(1, c);
    return url;
}

bool SlapdServer::Answers() {
    RunServerProgram({ServerFile("usr/bin/ldapsearch"), "-x", "-LLL", "-H", GetSocketUrl(), "-s",
                      "base", "-b", "", "1.1"});
    return true;
}

void SlapdServer::Add(const std::string& ldif) {
    RunServerProgram({ServerFile("usr/bin/ldapadd"), "-x", "-H", GetSocketUrl(), "-D", ADMIN, "-w",
                      ADMIN_PASSWORD},
                     ldif);
}

} // namespace kwlookup
