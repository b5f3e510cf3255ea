// SPDX-License-Identifier: MIT
#pragma once

#include "lookup/FinderKeys.h"
#include "lookup/KwLookupFinder.h"

namespace kwlookup {

// The keys of KwDomainsLookup's finder, whose class is private to its source file. They are
// compared with whole values.

/// Returns true for a finder of that class.
bool IsDomainFinder(const KwLookupFinder& finder);

/// Adds the keys of such a finder.
void AddDomainKeys(const KwLookupFinder& finder, FinderKeys& keys);

} // namespace kwlookup
