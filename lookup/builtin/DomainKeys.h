// SPDX-License-Identifier: MIT
#pragma once

#include "lookup/FinderKeys.h"
#include "lookup/KwLookupFinder.h"

namespace kwlookup {

// The keys of the domains lookup's finder, whose class nobody else can name. They are compared with
// whole values.

/// True for a finder of that class.
bool IsDomainFinder(const KwLookupFinder& finder);

/// The keys of such a finder.
void AddDomainKeys(const KwLookupFinder& finder, FinderKeys& keys);

} // namespace kwlookup
