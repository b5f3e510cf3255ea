// SPDX-License-Identifier: MIT
#pragma once

#include "lookup/KwLookupFinder.h"

#include <memory>
#include <string>

// Finders as a host that is built without run-time type information has them.

/// Matches the values that equal `text`.
std::unique_ptr<KwLookupFinder> MakeUntypedFinder(const std::string& text);

/// The same, and names its key. The calls of Match() are counted in `matches`.
std::unique_ptr<KwLookupFinder> MakeUntypedKeyedFinder(const std::string& text, int& matches);
