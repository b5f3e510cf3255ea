// SPDX-License-Identifier: MIT
#include "plugins/oracle/OracleClient.h"

#include "text/SharedLibrary.h"

#include <map>
#include <mutex>
#include <stdexcept>

namespace kwlookup {
namespace {

OracleClient Load(const std::string& name) {
    const SharedLibrary library(name);
    OracleClient client;
    library.Resolve(client.EnvNlsCreate, "OCIEnvNlsCreate");
    library.Resolve(client.HandleAlloc, "OCIHandleAlloc");
    library.Resolve(client.HandleFree, "OCIHandleFree");
    library.Resolve(client.DescriptorFree, "OCIDescriptorFree");
    library.Resolve(client.AttrSet, "OCIAttrSet");
    library.Resolve(client.AttrGet, "OCIAttrGet");
    library.Resolve(client.ServerAttach, "OCIServerAttach");
    library.Resolve(client.ServerDetach, "OCIServerDetach");
    library.Resolve(client.SessionBegin, "OCISessionBegin");
    library.Resolve(client.SessionEnd, "OCISessionEnd");
    library.Resolve(client.StmtPrepare2, "OCIStmtPrepare2");
    library.Resolve(client.StmtRelease, "OCIStmtRelease");
    library.Resolve(client.BindByPos, "OCIBindByPos");
    library.Resolve(client.DefineByPos, "OCIDefineByPos");
    library.Resolve(client.StmtExecute, "OCIStmtExecute");
    library.Resolve(client.StmtFetch2, "OCIStmtFetch2");
    library.Resolve(client.ParamGet, "OCIParamGet");
    library.Resolve(client.ErrorGet, "OCIErrorGet");
    return client;
}

} // namespace

const OracleClient& OracleClient::Open(const std::string& library) {
    // Never freed, because threads that are left behind may still use it when the process ends.
    static auto& lock = *new std::mutex;
    static auto& opened = *new std::map<std::string, OracleClient>;
    const std::lock_guard<std::mutex> guard(lock);
    const auto found = opened.find(library);
    if (found != opened.end())
        return found->second;
    try {
        return opened.emplace(library, Load(library)).first->second;
    } catch (const std::runtime_error& error) {
        throw std::runtime_error(std::string("the client library: ") + error.what());
    }
}

} // namespace kwlookup
