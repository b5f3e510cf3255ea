// SPDX-License-Identifier: MIT
#pragma once

#include "lookup/KeyedFinder.h"

namespace kwlookup {

/// What a finder that may be anybody's can say of its keys.
///
/// A keyed finder is known by its slot for ClearRes(), and the finder of the domains lookup by its
/// virtual table. Nothing else is read of any finder, and nothing is called.
class KeySource {
public:
    explicit KeySource(const KwLookupFinder& finder);

    /// False for a finder that names no keys: the rest must not be asked then.
    explicit operator bool() const { return m_keyed || m_domain; }

    KeyedFinder::KeyPart GetKeyPart() const {
        return m_keyed ? m_keyed->GetKeyPart() : KeyedFinder::WholeValue;
    }
    bool GetKeys(FinderKeys& keys) const;

    /// False for a finder that cannot name its keys this time.
    bool NamesKeys() const;

    /// True when no value will match any more.
    bool IsDone() const { return m_keyed && m_keyed->HasRes(); }

private:
    const KeyedFinder* m_keyed = nullptr;
    const KwLookupFinder* m_domain = nullptr;
};

} // namespace kwlookup
