// SPDX-License-Identifier: MIT
#pragma once

#include "lookup/KeyedFinder.h"

#include <string>

namespace kwlookup {

/// Finds the stored value with one key, in any letter case, and no other key that could stand for
/// it. As with AddressFinder, the key of a value ends at its first white space, and its result
/// follows.
class KeyFinder : public KeyedFinder {
public:
    /// Keeps the address of `key`.
    explicit KeyFinder(const std::string& key) : m_key(key) {}

    bool Match(const std::string& value) const override;
    TextRange GetRequest() const override { return TextRange(m_key.begin(), m_key.end()); }
    std::string GetRes() const override { return m_result; }
    KeyPart GetKeyPart() const override { return FirstWord; }
    bool GetKeys(FinderKeys& keys) const override;

    /// Returns the stored value that matched last.
    const std::string& GetMatchedValue() const { return m_value; }

private:
    const std::string& m_key;
    mutable std::string m_value;
    mutable std::string m_result;
};

} // namespace kwlookup
