// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>

namespace kwlookup {

/// How far the storing of several rows came, for the report of what failed.
struct StoreProgress {
    std::size_t row = 0;     ///< that is being stored; their number once all are
    bool committing = false; ///< the database was told to keep them
    bool unknown = false;    ///< they may be stored although that failed
};

} // namespace kwlookup
