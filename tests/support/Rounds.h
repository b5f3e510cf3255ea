// SPDX-License-Identifier: MIT
#pragma once

#include <cstdlib>

/// How many rounds a random test makes: `rounds`, or fewer on an emulated machine, whose preset
/// sets KWLOOKUP_TEST_SHARE to the share of them, one in so many.
inline int Rounds(int rounds) {
    const char* share = std::getenv("KWLOOKUP_TEST_SHARE");
    return share ? 1 + rounds / std::atoi(share) : rounds;
}
