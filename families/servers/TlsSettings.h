// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace kwlookup {

/// How a connection is encrypted.
struct TlsSettings {
    enum class Mode {
        No,
        StartTls, ///< begin in plain text, then always encrypt
        Require   ///< encrypt from the first byte, if the protocol allows that
    };

    Mode mode = Mode::No;
    bool verify = true;
    std::string ca_file; ///< empty for the authorities that the system trusts
    std::string cert_file;
    std::string key_file; ///< empty if the key is in cert_file
};

} // namespace kwlookup
