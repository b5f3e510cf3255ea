// SPDX-License-Identifier: MIT
#pragma once

#include "plugins/ldap/LdapTemplate.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace kwlookup {

/// Reads the text of a filter or a name, and makes a template from it.
class LdapTemplateReader {
public:
    /// `kind` names the kind of text, for messages. Throws std::invalid_argument "the template
    /// holds a NUL byte".
    LdapTemplateReader(std::string kind, std::string text);

    bool AtEnd() const { return m_at == m_text.size(); }
    bool At(char c) const { return !AtEnd() && m_text[m_at] == c; }
    /// Skip `c`. False if the next byte is another one.
    bool Skip(char c);
    /// Skip `c`. Throws std::invalid_argument if the next byte is another one.
    void Expect(char c);
    void SkipBlanks();
    /// Skip to the first of `ends`, or to the end. Returns the text skipped.
    std::string_view TakeUntil(std::string_view ends);

    /// Add a byte of a value, or a code, to the template. A backslash must precede two hexadecimal
    /// digits or one of the bytes of `escapable`. Throws std::invalid_argument "unrecognize
    /// expansion in 'TEXT'", and what Fail() throws.
    void TakeValue(std::string_view escapable = {});

    /// Throws std::invalid_argument "wrong KIND 'TEXT': REASON at byte NUMBER".
    [[noreturn]] void Fail(const std::string& reason) const;

    LdapTemplate result;

private:
    void TakeCode();
    void TakeEscaped(std::string_view escapable);

    const std::string m_kind;
    std::string m_text;
    std::size_t m_at = 0;
};

} // namespace kwlookup
