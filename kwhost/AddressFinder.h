// SPDX-License-Identifier: MIT
#pragma once

#include "lookup/KeyedFinder.h"

#include <array>
#include <string>
#include <string_view>

namespace kwlookup {

class LocaleBytes;

/// Looks for a mail address or a bare domain in lists as administrators write them.
///
///     const kwlookup::AddressFinder finder("jdoe@corp.lan");
///     std::string result, matched;
///     if (list.Find(finder, &result, 0, &matched))
///         ...
///
/// A stored value is a key, optionally followed by white space and a result. Keys are
///   - `jdoe@corp.lan`: this address;
///   - `corp.lan`, `@corp.lan`: every address of this domain, and the bare domain;
///   - `.corp.lan`: every address of its sub-domains, and the bare sub-domains;
///   - `jdoe@`: this local part in any domain;
///   - any other text: exactly this text.
/// Letter case (of the global locale) is ignored. So is one pair of angle brackets around the
/// searched text. The domain is the text after the last '@'. A text without '@' is a bare domain.
///
/// A key without a result is a plain match. A key with a result makes it the finder's own result
/// (GetRes). The finder keeps the first result, and no other value matches, until ClearRes().
///
/// A long list answers from an index (KwVectorStrLookup). For a class derived from this one it
/// walks all of its values, since it cannot know the keys.
///
/// Threads: one. Match() costs about 10 ns for a value that does not match. It allocates memory
/// only to keep a value of more than 128 bytes, and GetRes() only for a result of more than 15.
class KW_EXPORT AddressFinder : public KeyedFinder {
public:
    /// Keeps a copy of `text`.
    explicit AddressFinder(const std::string& text);
    AddressFinder(const AddressFinder&) = delete;
    AddressFinder& operator=(const AddressFinder&) = delete;

    /// Looks for `text` from now on, like a new finder. Allocates memory only for a text that is
    /// longer than those before.
    void SetText(const std::string& text);

    bool Match(const std::string& value) const override;
    /// Returns the searched text as given, with its angle brackets.
    TextRange GetRequest() const override;
    std::string GetRes() const override;

    /// Returns FirstWord.
    KeyPart GetKeyPart() const override;
    bool GetKeys(FinderKeys& keys) const override;

    /// Returns the last stored value that matched, with or without a result. Empty before the first
    /// match. The reference is valid until the next Match().
    const std::string& GetMatchedValue() const;

private:
    bool IsKey(std::string_view key, const LocaleBytes& bytes) const;
    std::string_view Keep(const std::string& value) const;

    std::string m_text;         ///< a bare domain also has the key "@DOMAIN": see the constructor
    std::string_view m_request; ///< the searched text
    std::string_view m_address; ///< without angle brackets
    std::string_view m_local;   ///< with the '@'; empty for a bare domain
    std::string_view m_domain;  ///< follows an '@' in m_text
    /// The value that matched last. Values that do not fit are in m_long_value.
    mutable std::array<char, 128> m_short_value;
    mutable std::string m_long_value;
    mutable std::string_view m_value;
    mutable std::string_view m_result; ///< a part of m_value
    mutable std::string m_matched_value;
};

} // namespace kwlookup
