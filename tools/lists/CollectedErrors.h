// SPDX-License-Identifier: MIT
#pragma once

namespace kwlookup {

/// Take the errors that the library has collected. True if an item of a list has failed since the
/// last call, in the lists of a configuration too. The library has logged each error already.
bool TakeCollectedErrors();

} // namespace kwlookup
