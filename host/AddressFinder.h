// SPDX-License-Identifier: MIT
#pragma once

#include "lookup/KwLookupFinder.h"

#include <string>
#include <string_view>

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
/// Threads: one. Cost of Match(): about 10 ns for a value that does not match.
class KW_EXPORT AddressFinder : public KwLookupFinder {
public:
    /// Keeps a copy of `text`.
    explicit AddressFinder(const std::string& text);
    AddressFinder(const AddressFinder&) = delete;
    AddressFinder& operator=(const AddressFinder&) = delete;

    bool Match(const std::string& value) const override;
    /// The searched text as given, angle brackets included.
    KwTextRange GetRequest() const override;
    std::string GetRes() const override;
    void ClearRes() const override;

    /// The stored value that matched last, plainly or with a result; empty before any did.
    const std::string& GetMatchedValue() const { return m_matched_value; }

private:
    bool IsKey(std::string_view key) const;

    std::string m_text;
    std::string_view m_address; ///< m_text without angle brackets
    std::string_view m_local;   ///< with the '@'; empty for a bare domain
    std::string_view m_domain;
    mutable std::string m_result;
    mutable std::string m_matched_value;
};
