// SPDX-License-Identifier: MIT
#pragma once

#include <cstdlib>

/// Stops the fuzzer at an input for which `holds` does not.
inline void Require(bool holds) {
    if (!holds)
        std::abort();
}
