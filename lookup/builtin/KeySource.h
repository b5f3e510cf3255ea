// SPDX-License-Identifier: MIT
#pragma once

#include "lookup/KeyedFinder.h"

namespace kwlookup {

/// The keys of any finder, if its class can name them.
///
/// A KeyedFinder is recognised by its slot for ClearRes(), and the finder of KwDomainsLookup by its
/// virtual table. Of other finders nothing else is read, and nothing is called.
class KeySource {
public:
    explicit KeySource(const KwLookupFinder& finder);

    /// False for a finder that cannot name keys. The other operations must not be called then.
    explicit operator bool() const { return m_keyed || m_domain; }

    KeyedFinder::KeyPart GetKeyPart() const {
        return m_keyed ? m_keyed->GetKeyPart() : KeyedFinder::WholeValue;
    }
    bool GetKeys(FinderKeys& keys) const;

    /// Returns false when the finder does not name its keys for this text.
    bool NamesKeys() const;

    /// Returns what Fetch() stores in the finder, or null when the finder has no room for it.
    FetchedKeys* GetFetched() const { return m_keyed ? &m_keyed->m_fetched : nullptr; }

    /// Returns true when no further value can match.
    bool IsDone() const { return m_keyed && m_keyed->HasRes(); }

private:
    const KeyedFinder* m_keyed = nullptr;
    const KwLookupFinder* m_domain = nullptr;
};

} // namespace kwlookup
