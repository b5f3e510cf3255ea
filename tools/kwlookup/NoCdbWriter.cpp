// SPDX-License-Identifier: MIT
#include "TableWriter.h"

#include <stdexcept>

namespace kwlookup {

/// For a tool that is built without the cdb library.
std::unique_ptr<TableWriter> MakeCdbWriter(const std::string&) {
    throw std::runtime_error("build cdb: this kwlookup was built without the cdb library");
}

} // namespace kwlookup
