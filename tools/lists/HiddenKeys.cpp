// SPDX-License-Identifier: MIT
#include "tools/lists/HiddenKeys.h"

#include "text/AsciiLower.h"

#include <algorithm>

namespace kwlookup {

namespace {

bool IsLocal(std::string_view key) {
    return key.size() > 1 && key.back() == '@';
}

/// `@corp.lan` means the same as `corp.lan`. `@.lan` is not such a key, as `.lan` is not a domain.
bool IsMarkedDomain(std::string_view key) {
    return key.size() > 1 && key.front() == '@' && key[1] != '.' &&
           key.find('@', 1) == std::string_view::npos;
}

bool IsAddress(std::string_view key) {
    return !IsLocal(key) && key.find('@') != std::string_view::npos;
}

} // namespace

HiddenKeys::Earlier HiddenKeys::Add(std::string_view key, std::size_t line) {
    std::string lower = AsciiLowerCase(std::string(key));
    std::string_view name = lower;
    if (IsMarkedDomain(name))
        name.remove_prefix(1);
    if (const std::size_t same = LineOf(name))
        return {same, true};
    const std::size_t other = LineThatHides(name);
    m_lines.emplace(Keep(name), line);
    if (other != 0)
        return {other, false};
    m_has_locals |= IsLocal(name);
    m_has_parents |= name.front() == '.';
    m_has_domains |= !IsAddress(name);
    return {};
}

std::size_t HiddenKeys::LineOf(std::string_view key) const {
    const auto found = m_lines.find(key);
    return found == m_lines.end() ? 0 : found->second;
}

std::size_t HiddenKeys::LineThatHides(std::string_view key) const {
    // No address is longer, and each dot costs a search.
    constexpr std::size_t LONGEST_ADDRESS = 1000;
    if (key.size() > LONGEST_ADDRESS || IsLocal(key))
        return 0;
    std::string_view domain = key;
    std::size_t line = 0;
    if (IsAddress(key)) {
        const std::size_t at = key.rfind('@');
        domain.remove_prefix(at + 1);
        if (m_has_locals && at != 0)
            line = LineOf(key.substr(0, at + 1));
        if (line == 0 && m_has_domains && domain.substr(0, 1) != ".")
            line = LineOf(domain);
    }
    if (!m_has_parents)
        return line;
    for (std::size_t dot = domain.find('.', 1); line == 0 && dot < domain.size() - 1;
         dot = domain.find('.', dot + 1))
        line = LineOf(domain.substr(dot));
    return line;
}

std::string_view HiddenKeys::Keep(std::string_view key) {
    constexpr std::size_t BLOCK = 64 * 1024;
    if (m_texts.empty() || m_texts.back().capacity() - m_texts.back().size() < key.size()) {
        m_texts.emplace_back();
        m_texts.back().reserve(std::max(BLOCK, key.size()));
    }
    std::string& text = m_texts.back();
    text.append(key);
    return std::string_view(text).substr(text.size() - key.size());
}

} // namespace kwlookup
