// SPDX-License-Identifier: MIT
#pragma once

namespace kwlookup {

/// `kwlookup types`: print the known types, and whether each is available. Returns the exit status.
int RunTypesCommand();

} // namespace kwlookup
