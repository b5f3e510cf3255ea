// SPDX-License-Identifier: MIT
#pragma once

#include "support/TempDir.h"

#include <string>

namespace kwlookup {

/// Files in PEM format.
struct TestCertificate {
    std::string certificate_file;
    std::string key_file;
    std::string ca_file; ///< of the authority that issued it
};

/// An authority that issues certificates, for as long as the object lives. Uses the program
/// openssl.
class TestAuthority {
public:
    explicit TestAuthority(const std::string& name = "Test Authority");

    std::string GetCaFile() const { return m_dir.Path("ca.crt"); }

    /// For a server on this machine: localhost, 127.0.0.1 and ::1.
    TestCertificate ForServer() const;
    /// For a server of another name, and no address.
    TestCertificate WithWrongName() const;
    /// As ForServer(), but valid in the past only.
    TestCertificate Expired() const;
    /// For a server of other names or addresses, as in "DNS:localhost" or "IP:127.0.0.1".
    TestCertificate For(const std::string& alternatives) const;
    /// For a client that is `user`.
    TestCertificate ForClient(const std::string& user) const;

private:
    TestCertificate Issue(const std::string& file, const std::string& name,
                          const std::string& alternatives, bool expired = false) const;

    TempDir m_dir;
};

} // namespace kwlookup
