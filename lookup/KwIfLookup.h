// SPDX-License-Identifier: MIT
#pragma once

#include "lookup/KwIfObject.h"
#include "lookup/KwLookupFinder.h"

/// The bits of the `flags` of a search. Plug-ins may give other bits a meaning of their own.
enum KwFindFlags : int {
    FIND_EXACT = 1,          ///< Compare the text with each stored string; KwLookupFinder::Match is
                             ///< not asked.
    FIND_NOCASE = 2,         ///< With FIND_EXACT: ignore letter case.
    FIND_STRIP_BRACKETS = 4, ///< Templates: leave out the angle brackets around an address.
    FIND_DOMAIN = 8          ///< The text is a bare domain, not an address.
};

/// Anything that can be searched. Slot order is part of the binary interface.
class KW_EXPORT KwIfLookup : public virtual KwIfObject {
public:
    /// Searches for the text of `finder`; true when this lookup matched.
    ///
    /// `res` receives the result text of a successful search; a lookup may leave it untouched, or
    /// empty it on a miss. It must not be null unless FIND_EXACT is set.
    /// `matched`, when not null, receives the stored value that matched, where there is one.
    ///
    /// May be called by several threads at once. A fault throws a standard exception: false always
    /// means that the lookup was asked and the text is not there.
    virtual bool Find(const KwLookupFinder& finder, std::string* res, int flags,
                      std::string* matched) const = 0;
};
