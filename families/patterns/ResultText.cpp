// SPDX-License-Identifier: MIT
#include "families/patterns/ResultText.h"

#include <stdexcept>

namespace kwlookup {

namespace {

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

} // namespace

ResultText::ResultText(std::string_view text, const Pcre2Pattern& pattern) : m_text(text) {
    for (std::size_t i = 0; (i = m_text.find('$', i)) != std::string::npos; i += 2) {
        const char code = i + 1 < m_text.size() ? m_text[i + 1] : '\0';
        if (code != '$' && !IsDigit(code))
            throw std::invalid_argument("result '" + m_text + "': '$' at offset " +
                                        std::to_string(i) + " is not followed by a digit or '$'");
        if (IsDigit(code) && static_cast<unsigned>(code - '0') > pattern.GetGroupCount())
            throw std::invalid_argument("result '" + m_text + "': the pattern has no group " +
                                        code);
    }
}

std::string ResultText::Expand(const Pcre2Pattern::Groups& groups) const {
    std::string result;
    std::size_t begin = 0;
    for (std::size_t i; (i = m_text.find('$', begin)) != std::string::npos; begin = i + 2) {
        result.append(m_text, begin, i - begin);
        const char code = m_text[i + 1];
        if (code == '$')
            result += '$';
        else
            result += groups[static_cast<std::size_t>(code - '0')];
    }
    return result.append(m_text, begin, std::string::npos);
}

} // namespace kwlookup
