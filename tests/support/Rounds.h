// SPDX-License-Identifier: MIT
#pragma once

#include <cstdlib>

/// The number of rounds of a random test: `rounds` divided by KWLOOKUP_TEST_SHARE, which the
/// presets for emulated machines set.
inline int Rounds(int rounds) {
    const char* share = std::getenv("KWLOOKUP_TEST_SHARE");
    return share ? 1 + rounds / std::atoi(share) : rounds;
}
