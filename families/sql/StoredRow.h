// SPDX-License-Identifier: MIT
#pragma once

#include "host/KwStorageValuesMap.h"

#include <string>
#include <vector>

namespace kwlookup {

/// A value on its way into a database.
struct StoredValue {
    KwStorageValuesMap::Type type;
    long long number; ///< of an int
    /// Of a varchar, any bytes. Of a timestamp "YYYY-MM-DD HH:MM:SS[.FRACTION]" in UTC, with at
    /// most six digits in FRACTION. Of an int, its decimal digits.
    std::string text;
};

/// The values for all columns of a table.
using StoredRow = std::vector<StoredValue>;

} // namespace kwlookup
