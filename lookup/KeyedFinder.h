// SPDX-License-Identifier: MIT
#pragma once

#include "lookup/FinderKeys.h"
#include "lookup/KwLookupFinder.h"

namespace kwlookup {

/// A finder that can name the keys that it looks for, so that a long list need not be walked.
///
/// A list may look for the keys in an index and call Match() only for the stored values that have
/// one of them, in the order of the list; one that does not know this class calls Match() for every
/// value, with the same answer. So for a value without any of the keys Match() must be false and
/// change nothing. It may be false for a value that has one; each such call costs time.
///
/// A finder may make a result of its own. Then it overrides GetRes(), calls NoteRes() when Match()
/// has made the result, and is done with it: until ClearRes(), Match() is false for every value and
/// changes nothing.
///
/// A list knows such a finder by its slot for ClearRes(), which no class but this one fills. It
/// asks nothing for the finder's type information, so a program may be built without any. Where the
/// slot cannot be told, because a program was linked in an unusual way, the list is walked.
class KW_EXPORT KeyedFinder : public KwLookupFinder {
public:
    /// What of a stored value a key must equal without regard to case, by the upper-case forms of
    /// the global locale. For a part that a list does not know it is walked.
    enum KeyPart : int {
        WholeValue,
        FirstWord ///< up to the first white space after any at the beginning; may be empty
    };

    void ClearRes() const final;

    /// The part that its keys are compared with.
    virtual KeyPart GetKeyPart() const = 0;

    /// Adds all keys to `keys`, in any order. False when they cannot be named: the list is walked.
    virtual bool GetKeys(FinderKeys& keys) const = 0;

    /// True from NoteRes() to ClearRes().
    bool HasRes() const { return m_has_res; }

protected:
    /// Notes that Match() has made the result.
    void NoteRes() const { m_has_res = true; }

private:
    mutable bool m_has_res = false;
};

} // namespace kwlookup
