// SPDX-License-Identifier: MIT
#pragma once

namespace kwlookup {

/// True when items of lists failed since the last call, those of lists in a configuration included.
/// The library told which when they failed; they are forgotten.
bool TakeCollectedErrors();

} // namespace kwlookup
