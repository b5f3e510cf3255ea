// SPDX-License-Identifier: MIT
#pragma once

#include <functional>

namespace kwlookup {

/// Run `work`, which must not throw, in a detached thread that blocks all signals, so that the host
/// receives them. Throws std::system_error.
void StartThread(std::function<void()> work);

} // namespace kwlookup
