// SPDX-License-Identifier: MIT
#pragma once

#include "lookup/KwLookupFinder.h"

#include <string_view>
#include <vector>

/// A finder that can name every value that it matches, so that a long list need not be walked.
///
/// A lookup may ask it for its keys in place of calling Match() for each stored value; one that
/// does not know this class calls Match(), with the same answer. Match() of such a finder is true
/// exactly for the values that equal one of its keys without regard to case (the upper-case forms
/// of the global locale), and it makes no result of its own.
class KW_EXPORT KwKeyedFinder : public KwLookupFinder {
public:
    /// The keys, in any order. They are valid as long as the finder lives.
    virtual std::vector<std::string_view> GetKeys() const = 0;
};
