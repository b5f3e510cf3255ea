// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

namespace kwlookup {

/// A number that is different in a child process after fork(2) from that in its parent.
///
/// Threads: any. Costs one load.
std::uint64_t ForkCount();

} // namespace kwlookup
