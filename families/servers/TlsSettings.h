// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace kwlookup {

/// How a connection is encrypted.
struct TlsSettings {
    enum class Mode {
        No,
        StartTls, ///< begun in plain text, then encrypted; never left in plain text
        Require   ///< encrypted from the first byte, where the protocol has that
    };

    Mode mode = Mode::No;
    bool verify = true;
    std::string ca_file; ///< empty: the authorities that the system trusts
    std::string cert_file;
    std::string key_file; ///< empty: in cert_file
};

} // namespace kwlookup
