// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>

namespace kwlookup {

/// How far a transaction that stores rows has got, for the report of its failure.
struct StoreProgress {
    std::size_t row = 0;     ///< the row being stored; their number after the last one
    bool committing = false; ///< the commit has begun
    bool unknown = false;    ///< the commit failed, but the rows may be stored
};

} // namespace kwlookup
