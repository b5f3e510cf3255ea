// SPDX-License-Identifier: MIT
#pragma once

#include "lookup/FetchedKeys.h"
#include "lookup/FinderKeys.h"
#include "lookup/KwLookupFinder.h"

namespace kwlookup {

/// A finder that names the keys that it looks for, so that a long list need not be walked.
///
///     class WordFinder : public kwlookup::KeyedFinder {
///         ...
///         KeyPart GetKeyPart() const override { return FirstWord; }
///         bool GetKeys(kwlookup::FinderKeys& keys) const override {
///             keys.Add(m_word);
///             return true;
///         }
///     };
///
/// A list may look up the keys in an index. It then calls Match() only for the stored values that
/// have one of the keys, in the order of the list. Other lists call Match() for every value, and
/// the answer must be the same. So for a value without any of the keys, Match() must return false
/// and change nothing. For a value with a key it may return false too, but each such call costs
/// time.
///
/// A finder may make a result of its own. It then overrides GetRes(), and calls NoteRes() when
/// Match() has made the result. From then on until ClearRes(), Match() must return false for every
/// value and change nothing.
///
/// A list recognises such a finder by its virtual slot for ClearRes(), which only this class fills.
/// It does not use run-time type information, so a program may be built without it. If the slot
/// cannot be recognised, because the program was linked in an unusual way, the list is walked.
class KW_EXPORT KeyedFinder : public KwLookupFinder {
public:
    /// The part of a stored value that a key must equal. Letter case is ignored, by the upper-case
    /// forms of the global locale. A list that does not know the part is walked.
    enum KeyPart : int {
        WholeValue,
        FirstWord ///< leading white space skipped, up to the next white space; may be empty
    };

    void ClearRes() const final;

    /// Returns the part that its keys are compared with.
    virtual KeyPart GetKeyPart() const = 0;

    /// Adds all keys to `keys`, in any order, the same keys in each call. Returns false when it
    /// cannot name them; the list is then walked.
    virtual bool GetKeys(FinderKeys& keys) const = 0;

    /// Returns true when the list whose Fetch() got this finder last has none of its keys. A search
    /// of that list with the flags of that Fetch() cannot match then. It tells nothing of other
    /// lists, not even in one holder.
    bool IsRuledOut() const { return m_fetched.AreNone(); }

    /// Returns true from NoteRes() to ClearRes().
    bool HasRes() const { return m_has_res; }

protected:
    /// Records that Match() has made the result.
    void NoteRes() const { m_has_res = true; }

    /// To be called when the keys or the text of GetRequest() change. Forgets the result, and what
    /// a list knows of the keys and the text.
    void NoteNewKeys() {
        m_has_res = false;
        m_fetched = FetchedKeys();
    }

private:
    friend class KeySource;

    mutable bool m_has_res = false;
    mutable FetchedKeys m_fetched;
};

} // namespace kwlookup
