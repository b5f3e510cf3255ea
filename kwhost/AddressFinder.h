// SPDX-License-Identifier: MIT
#pragma once

#include "lookup/KeyedFinder.h"

#include <array>
#include <string>
#include <string_view>

namespace kwlookup {

class LocaleBytes;

/// The request for a mail address or a bare domain, against lists as administrators write them.
///
/// A stored value is a key, optionally followed by white space and a result text. Keys:
///   - `jdoe@corp.lan`: this address;
///   - `corp.lan`, `@corp.lan`: every address of this domain, and the bare domain;
///   - `.corp.lan`: every address of its sub-domains, and the bare sub-domains;
///   - `jdoe@`: this local part at any domain;
///   - the whole searched text, whatever it is.
/// Letter case is ignored (global locale), and so is one pair of angle brackets around the searched
/// text. The domain is what follows the last '@'; a text without '@' is a bare domain.
///
/// A key without a result text is a plain match. A key with one makes that text the finder's own
/// result (GetRes); the first one stays until ClearRes(), and no later value matches until then.
///
/// A long list answers it from an index (KwVectorStrLookup), but for a class derived from this one,
/// whose keys nobody knows.
///
/// Threads: one. Cost of Match(): about 10 ns for a value that does not match. It allocates memory
/// only to keep a value of more than 128 bytes, and GetRes() only for a result of more than 15.
class KW_EXPORT AddressFinder : public KeyedFinder {
public:
    /// Keeps a copy of `text`.
    explicit AddressFinder(const std::string& text);
    AddressFinder(const AddressFinder&) = delete;
    AddressFinder& operator=(const AddressFinder&) = delete;

    bool Match(const std::string& value) const override;
    /// The searched text as given, angle brackets included.
    TextRange GetRequest() const override;
    std::string GetRes() const override;

    /// The first word.
    KeyPart GetKeyPart() const override;
    bool GetKeys(FinderKeys& keys) const override;

    /// The stored value that matched last, plainly or with a result; empty before any did. The
    /// reference holds until the next Match().
    const std::string& GetMatchedValue() const;

private:
    bool IsKey(std::string_view key, const LocaleBytes& bytes) const;
    std::string_view Keep(const std::string& value) const;

    std::string m_text;         ///< after a bare domain, an '@' and the domain again: a key
    std::string_view m_request; ///< the searched text
    std::string_view m_address; ///< without angle brackets
    std::string_view m_local;   ///< with the '@'; empty for a bare domain
    std::string_view m_domain;  ///< there is an '@' before it
    /// The value that matched last. Few are longer than its array; others are in m_long_value.
    mutable std::array<char, 128> m_short_value;
    mutable std::string m_long_value;
    mutable std::string_view m_value;
    mutable std::string_view m_result; ///< in m_value
    mutable std::string m_matched_value;
};

} // namespace kwlookup
