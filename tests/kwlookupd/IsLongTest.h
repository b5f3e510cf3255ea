// SPDX-License-Identifier: MIT
#pragma once

#include <cstdlib>

/// True if `ctest -C long -L long` runs this test, which may take minutes then.
inline bool IsLongTest() {
    return std::getenv("KWLOOKUP_LONG_TESTS") != nullptr;
}
