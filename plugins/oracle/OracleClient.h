// SPDX-License-Identifier: MIT
#pragma once

#include "plugins/oracle/Oci.h"

#include <string>

namespace kwlookup {

/// The functions of Oracle's client library.
struct OracleClient {
    /// Opens the library, in the file or of the name `library`, when it is called for the first
    /// time. Throws std::runtime_error "the client library: REASON".
    ///
    /// Threads: any.
    static const OracleClient& Open(const std::string& library);

    oci::EnvNlsCreate* EnvNlsCreate;
    oci::HandleAlloc* HandleAlloc;
    oci::HandleFree* HandleFree;
    oci::DescriptorFree* DescriptorFree;
    oci::AttrSet* AttrSet;
    oci::AttrGet* AttrGet;
    oci::ServerAttach* ServerAttach;
    oci::ServerDetach* ServerDetach;
    oci::SessionBegin* SessionBegin;
    oci::SessionEnd* SessionEnd;
    oci::StmtPrepare2* StmtPrepare2;
    oci::StmtRelease* StmtRelease;
    oci::BindByPos* BindByPos;
    oci::DefineByPos* DefineByPos;
    oci::StmtExecute* StmtExecute;
    oci::StmtFetch2* StmtFetch2;
    oci::ParamGet* ParamGet;
    oci::ErrorGet* ErrorGet;
};

} // namespace kwlookup
