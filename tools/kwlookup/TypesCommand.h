// SPDX-License-Identifier: MIT
#pragma once

namespace kwlookup {

/// `kwlookup types`: prints the known type names, and whether each can be opened here. Returns the
/// exit status.
int RunTypesCommand();

} // namespace kwlookup
