// SPDX-License-Identifier: MIT
#pragma once

#include "lookup/KwLookupFinder.h"

#include <memory>
#include <string>

// The finders of a host that is built without run-time type information.

/// Makes a finder that matches values equal to `text`.
std::unique_ptr<KwLookupFinder> MakeUntypedFinder(const std::string& text);

/// Makes one that also names its key, and counts the calls of Match() in `matches`.
std::unique_ptr<KwLookupFinder> MakeUntypedKeyedFinder(const std::string& text, int& matches);
