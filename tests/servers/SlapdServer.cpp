// SPDX-License-Identifier: MIT
#include "servers/SlapdServer.h"

#include "servers/ServerProgram.h"

#include <filesystem>

namespace kwlookup {

SlapdServer::SlapdServer(const TestCertificate* certificate, const std::string& settings)
    : TestServer(certificate), m_settings(settings), m_tls_port(FreePort()) {
    std::filesystem::create_directory(Dir().Path("data"));
    GiveToServer(Dir().Path("data"));
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
    conf += "pidfile " + Dir().Path("pid") + "\n";
    if (HasTls())
        conf += "TLSCertificateFile " + CertificateFile() + "\nTLSCertificateKeyFile " + KeyFile() +
                "\nTLSCACertificateFile " + CaFile() + "\nTLSVerifyClient try\n";
    conf += "database mdb\n"
            "suffix dc=example,dc=test\n"
            "maxsize 67108864\n"
            "dbnosync\n";
    conf += std::string("rootdn ") + ADMIN + "\nrootpw \"" + ADMIN_PASSWORD + "\"\n";
    conf += "directory " + Dir().Path("data") + "\n" + m_settings;
    GiveToServer(Dir().Write("slapd.conf", conf));
}

std::vector<std::string> SlapdServer::Command() const {
    WriteConfiguration();
    std::string urls = "ldap://" + Host() + " " + SocketUrl();
    if (HasTls())
        urls += " ldaps://" + TlsHost();
    return {ServerFile("usr/sbin/slapd"), "-f", Dir().Path("slapd.conf"), "-h", urls, "-d", "0"};
}

std::string SlapdServer::SocketUrl() const {
    std::string url = "ldapi://";
    for (const char c : SocketPath())
        url += c == '/' ? "%2F" : std::string(1, c);
    return url;
}

bool SlapdServer::Answers() {
    RunServerProgram({ServerFile("usr/bin/ldapsearch"), "-x", "-LLL", "-H", SocketUrl(), "-s",
                      "base", "-b", "", "1.1"});
    return true;
}

void SlapdServer::Add(const std::string& ldif) {
    RunServerProgram(
        {ServerFile("usr/bin/ldapadd"), "-x", "-H", SocketUrl(), "-D", ADMIN, "-w", ADMIN_PASSWORD},
        ldif);
}

} // namespace kwlookup
