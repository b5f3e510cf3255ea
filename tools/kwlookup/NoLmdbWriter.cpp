// SPDX-License-Identifier: MIT
#include "TableWriter.h"

#include <stdexcept>

namespace kwlookup {

/// In a tool that is built without the LMDB library.
std::unique_ptr<TableWriter> MakeLmdbWriter(const std::string&, bool) {
    throw std::runtime_error("build lmdb: this kwlookup was built without the LMDB library");
}

} // namespace kwlookup
