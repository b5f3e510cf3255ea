// SPDX-License-Identifier: MIT
#pragma once

#include "plugins/ldap/LdapTemplate.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace kwlookup {

/// A place in the text of a filter or a name, and the template that becomes of it.
class LdapTemplateReader {
public:
    /// `kind` is what the text is, for messages. Throws std::invalid_argument "the template holds a
    /// NUL byte".
    LdapTemplateReader(std::string kind, std::string text);

    bool AtEnd() const { return m_at == m_text.size(); }
    bool At(char c) const { return !AtEnd() && m_text[m_at] == c; }
    /// Goes on behind `c`; false where another byte stands.
    bool Skip(char c);
    /// Goes on behind `c`. Throws std::invalid_argument where another byte stands.
    void Expect(char c);
    void SkipBlanks();
    /// Goes on to the first of `ends`, or to the end, and gives what stands before.
    std::string_view TakeUntil(std::string_view ends);

    /// Takes a byte of a value, or a code, into the template. A backslash stands before two
    /// hexadecimal digits, or before one of the bytes of `escapable`. Throws std::invalid_argument
    /// "unrecognize expansion in 'TEXT'", besides what Fail() throws.
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
