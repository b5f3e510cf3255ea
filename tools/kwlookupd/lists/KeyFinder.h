// SPDX-License-Identifier: MIT
#pragma once

#include "lookup/KeyedFinder.h"

#include <string>
#include <string_view>

namespace kwlookup {

/// Finds the stored value with one key, and no other key that could stand for it. As with
/// AddressFinder, the key of a value ends at its first white space, and its result follows. A value
/// that equals the key as a whole has no result.
class KeyFinder : public KeyedFinder {
public:
    enum class LetterCase { Ignored, Counts };

    /// Keeps the address of `key`.
    explicit KeyFinder(const std::string& key, LetterCase letter_case = LetterCase::Ignored)
        : m_key(key), m_letter_case(letter_case) {}

    bool Match(const std::string& value) const override;
    TextRange GetRequest() const override { return TextRange(m_key.begin(), m_key.end()); }
    std::string GetRes() const override { return m_result; }
    KeyPart GetKeyPart() const override { return FirstWord; }
    bool GetKeys(FinderKeys& keys) const override;

    /// Returns the stored value that matched last.
    const std::string& GetMatchedValue() const { return m_value; }

private:
    bool IsKey(std::string_view text) const;

    const std::string& m_key;
    const LetterCase m_letter_case;
    mutable std::string m_value;
    mutable std::string m_result;
};

} // namespace kwlookup
