// SPDX-License-Identifier: MIT
#pragma once

#include "lookup/KwIfObject.h"
#include "lookup/KwLookupFinder.h"

/// The bits of the `flags` of a search. Plug-ins may use other bits for their own purposes.
enum KwFindFlags : int {
    FIND_EXACT = 1,          ///< Compare the text with each stored string instead of calling
                             ///< KwLookupFinder::Match.
    FIND_NOCASE = 2,         ///< With FIND_EXACT: ignore letter case.
    FIND_STRIP_BRACKETS = 4, ///< In templates, remove the angle brackets around an address.
    FIND_DOMAIN = 8          ///< The text is a bare domain, not an address.
};

/// Anything that can be searched. Slot order is part of the binary interface.
class KW_EXPORT KwIfLookup : public virtual KwIfObject {
public:
    /// Searches for the text of `finder`. Returns true when this lookup matched.
    ///
    /// `res` receives the result of a successful search. A lookup may leave it unchanged, or clear
    /// it on a miss. It must not be null unless FIND_EXACT is set.
    /// `matched`, unless null, receives the stored value that matched, if the lookup has one.
    ///
    /// May be called by several threads at once. Throws a standard exception when the search fails;
    /// false always means that the text was not found.
    virtual bool Find(const KwLookupFinder& finder, std::string* res, int flags,
                      std::string* matched) const = 0;
};
