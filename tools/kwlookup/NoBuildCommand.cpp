// SPDX-License-Identifier: MIT
#include "BuildCommand.h"

#include <stdexcept>

namespace kwlookup {

/// Replaces the command in a tool that is built without the cdb library.
int RunBuildCommand(const BuildOptions&, const LogClass&) {
    throw std::runtime_error("build cdb: this kwlookup was built without the cdb library");
}

} // namespace kwlookup
