// SPDX-License-Identifier: MIT
#include "host/AddressFinder.h"

#include "text/LocaleBytes.h"

AddressFinder::AddressFinder(const std::string& text) : m_text(text), m_address(m_text) {
    if (m_address.size() >= 2 && m_address.front() == '<' && m_address.back() == '>') {
        m_address.remove_prefix(1);
        m_address.remove_suffix(1);
    }
    const std::size_t at = m_address.rfind('@');
    const std::size_t domain = at == std::string_view::npos ? 0 : at + 1;
    m_local = m_address.substr(0, domain);
    m_domain = m_address.substr(domain);
}

bool AddressFinder::Match(const std::string& value) const {
    if (!m_result.empty())
        return false;
    const LocaleBytes& bytes = LocaleBytes::Current();
    auto begin = value.begin();
    auto end = value.end();
    bytes.Trim(begin, end);
    auto key_end = begin;
    while (key_end != end && !bytes.IsSpace(*key_end))
        ++key_end;
    const std::string_view key(value.data() + (begin - value.begin()), key_end - begin);
    if (IsKey(key)) {
        auto result = key_end;
        bytes.Trim(result, end);
        m_result.assign(result, end);
    } else if (!bytes.EqualNoCase(value, m_text)) {
        return false;
    }
    m_matched_value = value;
    return m_result.empty();
}

bool AddressFinder::IsKey(std::string_view key) const {
    const LocaleBytes& bytes = LocaleBytes::Current();
    const auto equal = [&](std::string_view l, std::string_view r) {
        return bytes.EqualNoCase(l, r);
    };
    if (key.empty())
        return m_text.empty();
    if (equal(key, m_text) || equal(key, m_address))
        return true;
    if (key.size() > 1 && key.back() == '@')
        return equal(key, m_local);
    if (m_domain.empty())
        return false;
    if (key.front() == '.')
        return key.size() > 1 && m_domain.size() > key.size() &&
               equal(key, m_domain.substr(m_domain.size() - key.size()));
    if (key.front() == '@')
        key.remove_prefix(1);
    return equal(key, m_domain);
}

KwTextRange AddressFinder::GetRequest() const {
    return KwTextRange(m_text.begin(), m_text.end());
}

std::string AddressFinder::GetRes() const {
    return m_result;
}

void AddressFinder::ClearRes() const {
    m_result.clear();
}
