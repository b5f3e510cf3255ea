// SPDX-License-Identifier: MIT
#pragma once

#include "host/KwStorageValuesMap.h"

#include <string>
#include <vector>

namespace kwlookup {

/// A value to store.
struct StoredValue {
    KwStorageValuesMap::Type type;
    long long number; ///< the value of an int
    /// The bytes of a varchar, or the decimal digits of an int. For a timestamp "YYYY-MM-DD
    /// HH:MM:SS[.FRACTION]" in UTC, with at most six digits in FRACTION.
    std::string text;
};

/// The values for all columns of a table.
using StoredRow = std::vector<StoredValue>;

} // namespace kwlookup
