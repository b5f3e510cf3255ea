// SPDX-License-Identifier: MIT
#pragma once

#include <cstdlib>

/// Abort, so that the fuzzer reports the input, unless `holds`.
inline void Require(bool holds) {
    if (!holds)
        std::abort();
}
