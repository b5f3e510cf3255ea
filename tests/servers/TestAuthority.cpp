// SPDX-License-Identifier: MIT
#include "servers/TestAuthority.h"

#include "support/RunProgram.h"

#include <filesystem>
#include <stdexcept>
#include <vector>

namespace kwlookup {

namespace {

const char* const THIS_MACHINE = "DNS:localhost,IP:127.0.0.1,IP:0:0:0:0:0:0:0:1";

void OpenSsl(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"/usr/bin/env", "openssl"});
    const ProgramResult result = RunProgram(arguments);
    if (result.status != 0)
        throw std::runtime_error("openssl failed: " + result.err);
}

} // namespace

TestAuthority::TestAuthority(const std::string& name) {
    // Only the program ca can make a certificate that has expired.
    m_dir.Write("ca.conf", "[ca]\n"
                           "default_ca = test\n"
                           "[test]\n"
                           "database = " +
                               m_dir.Path("index") +
                               "\n"
                               "new_certs_dir = " +
                               m_dir.Path(".") +
                               "\n"
                               "default_md = sha256\n"
                               "rand_serial = yes\n"
                               "policy = any\n"
                               "copy_extensions = copy\n"
                               "unique_subject = no\n"
                               "[any]\n"
                               "commonName = supplied\n");
    m_dir.Write("index", "");
    OpenSsl({"req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes",
             "-subj", "/CN=" + name, "-days", "30", "-keyout", m_dir.Path("ca.key"), "-out",
             GetCaFile()});
}

TestCertificate TestAuthority::Issue(const std::string& file, const std::string& name,
                                     const std::string& alternatives, bool expired) const {
    const TestCertificate made = {m_dir.Path(file + ".crt"), m_dir.Path(file + ".key"),
                                  GetCaFile()};
    if (std::filesystem::exists(made.certificate_file))
        return made;
    const std::string request = m_dir.Path(file + ".csr");
    OpenSsl({"req", "-new", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes",
             "-subj", "/CN=" + name, "-addext", "subjectAltName=" + alternatives, "-keyout",
             made.key_file, "-out", request});
    std::vector<std::string> sign = {"ca",
                                     "-batch",
                                     "-notext",
                                     "-config",
                                     m_dir.Path("ca.conf"),
                                     "-cert",
                                     GetCaFile(),
                                     "-keyfile",
                                     m_dir.Path("ca.key"),
                                     "-in",
                                     request,
                                     "-out",
                                     made.certificate_file};
    if (expired)
        sign.insert(sign.end(), {"-startdate", "20200101000000Z", "-enddate", "20200102000000Z"});
    else
        sign.insert(sign.end(), {"-days", "30"});
    OpenSsl(sign);
    return made;
}

TestCertificate TestAuthority::ForServer() const {
    return Issue("server", "localhost", THIS_MACHINE);
}

TestCertificate TestAuthority::WithWrongName() const {
    return Issue("wrong", "elsewhere.example", "DNS:elsewhere.example");
}

TestCertificate TestAuthority::Expired() const {
    return Issue("expired", "localhost", THIS_MACHINE, true);
}

TestCertificate TestAuthority::For(const std::string& alternatives) const {
    return Issue("for-" + alternatives, "test", alternatives);
}

TestCertificate TestAuthority::ForClient(const std::string& user) const {
    return Issue("client-" + user, user, "DNS:" + user + ".example");
}

} // namespace kwlookup
