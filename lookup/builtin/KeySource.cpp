// SPDX-License-Identifier: MIT
#include "lookup/builtin/KeySource.h"

#include "lookup/VirtualTable.h"
#include "lookup/builtin/DomainKeys.h"

#include <cstddef>
#include <string_view>
#include <vector>

namespace kwlookup {

namespace {

constexpr std::size_t CLEAR_RES = 5; // after two destructors, Match, GetRequest and GetRes

class KeylessFinder : public KeyedFinder {
public:
    bool Match(const std::string&) const override { return false; }
    TextRange GetRequest() const override { return TextRange(); }
    KeyPart GetKeyPart() const override { return WholeValue; }
    bool GetKeys(FinderKeys&) const override { return true; }
};

/// Drops all keys.
class NoKeys final : public FinderKeys {
public:
    NoKeys() : FinderKeys(m_no_sizes, 0) {}

private:
    void Take(std::string_view) override {}
    void TakeWholeValue(std::string_view) override {}

    const std::vector<std::size_t> m_no_sizes;
};

bool IsKeyed(const KwLookupFinder& finder) {
    static const void* const clear_res = SlotOf(KeylessFinder(), CLEAR_RES);
    return SlotOf(finder, CLEAR_RES) == clear_res;
}

} // namespace

KeySource::KeySource(const KwLookupFinder& finder) {
    if (IsKeyed(finder))
        m_keyed = static_cast<const KeyedFinder*>(&finder);
    else if (IsDomainFinder(finder))
        m_domain = &finder;
}

bool KeySource::NamesKeys() const {
    NoKeys keys;
    return GetKeys(keys);
}

bool KeySource::GetKeys(FinderKeys& keys) const {
    if (m_keyed)
        return m_keyed->GetKeys(keys);
    AddDomainKeys(*m_domain, keys);
    return true;
}

} // namespace kwlookup
