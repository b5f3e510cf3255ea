// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace kwlookup {

/// Another number in each child that fork(2) makes than in its parent.
///
/// Threads: any. Costs one load.
std::uint64_t ForkCount();

} // namespace kwlookup
