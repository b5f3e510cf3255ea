// SPDX-License-Identifier: MIT
#pragma once

#include <functional>

namespace kwlookup {

/// Runs `work`, which must not throw, in a thread that nobody waits for and that takes no signal:
/// those are the host's. Throws std::system_error.
void StartThread(std::function<void()> work);

} // namespace kwlookup
