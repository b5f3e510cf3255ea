// SPDX-License-Identifier: MIT
#include "kwhost/AddressFinder.h"

#include "lookup/VirtualTable.h"
#include "text/LocaleBytes.h"
#include "text/Platform.h"

#include <algorithm>
#include <cstring>

namespace kwlookup {

namespace {

/// Returns the position of the last '@' in `text`, or its size.
std::size_t LastAt(std::string_view text) {
    return std::min(FindLastByte(text, '@'), text.size());
}

} // namespace

AddressFinder::AddressFinder(const std::string& text) {
    SetText(text);
}

void AddressFinder::SetText(const std::string& text) {
    constexpr std::size_t LONG = 4096; // no mail address is longer
    NoteNewKeys();
    m_value = m_result = std::string_view();
    if (m_text.capacity() > LONG)
        m_text = std::string();
    const bool brackets = text.size() >= 2 && text.front() == '<' && text.back() == '>';
    const std::size_t begin = brackets ? 1 : 0;
    const std::size_t size = text.size() - 2 * begin;
    const std::size_t at = LastAt(std::string_view(text).substr(begin, size));
    const bool bare = at == size;
    // A bare domain is stored with an '@' in front of it. Within angle brackets it follows them
    // once more, as "@DOMAIN".
    if (bare) {
        m_text.clear();
        m_text.reserve(text.size() + 1 + (brackets ? size : 0));
        if (!brackets)
            m_text += '@';
        m_text += text;
        if (brackets)
            m_text.append(1, '@').append(text, begin, size);
    } else {
        m_text = text;
    }
    const std::string_view all = m_text;
    m_request = all.substr(bare && !brackets ? 1 : 0, text.size());
    m_address = m_request.substr(begin, size);
    m_local = bare ? std::string_view() : m_address.substr(0, at + 1);
    m_domain = bare ? all.substr(all.size() - size) : m_address.substr(at + 1);
}

bool AddressFinder::Match(const std::string& value) const {
    if (HasRes())
        return false;
    const LocaleBytes& bytes = LocaleBytes::Current();
    const char* begin = value.data();
    const char* end = begin + value.size();
    bytes.Trim(begin, end);
    const char* const key_end = bytes.FindSpace(begin, end);
    if (IsKey(std::string_view(begin, static_cast<std::size_t>(key_end - begin)), bytes)) {
        const char* result = key_end;
        bytes.Trim(result, end);
        const auto result_begin = static_cast<std::size_t>(result - value.data());
        m_result = Keep(value).substr(result_begin, static_cast<std::size_t>(end - result));
        if (!m_result.empty())
            NoteRes();
        return m_result.empty();
    }
    if (!bytes.EqualNoCase(value, m_request))
        return false;
    Keep(value);
    return true;
}

/// Copies `value` and returns the copy.
std::string_view AddressFinder::Keep(const std::string& value) const {
    if (value.size() > m_short_value.size()) {
        m_long_value = value;
        m_value = m_long_value;
    } else {
        std::copy(value.begin(), value.end(), m_short_value.begin());
        m_value = std::string_view(m_short_value.data(), value.size());
    }
    return m_value;
}

bool AddressFinder::IsKey(std::string_view key, const LocaleBytes& bytes) const {
    const auto equal = [&](std::string_view l, std::string_view r) {
        return l == r || bytes.EqualNoCase(l, r); // == is faster, and usually true if they match
    };
    if (key.empty())
        return m_request.empty();
    if (equal(key, m_request) || equal(key, m_address))
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

TextRange AddressFinder::GetRequest() const {
    const auto begin = m_text.begin() + (m_request.data() - m_text.data());
    return TextRange(begin, begin + static_cast<std::ptrdiff_t>(m_request.size()));
}

std::string AddressFinder::GetRes() const {
    return HasRes() ? std::string(m_result) : std::string();
}

KeyedFinder::KeyPart AddressFinder::GetKeyPart() const {
    return FirstWord;
}

bool AddressFinder::GetKeys(FinderKeys& keys) const {
    // A derived class may match other values.
    static const void* const table = VirtualTableOf(AddressFinder(std::string()));
    if (VirtualTableOf(*this) != table)
        return false;
    // From the shortest to the longest: they have the same end, so one pass hashes all of them.
    const bool is_domain = m_domain.data() == m_request.data();
    if (!m_domain.empty() && !keys.NeedAt()) {
        keys.AddEndings(m_domain, true);
        if (is_domain)
            keys.AddWholeValue(m_request);
        else if (m_domain.front() != '.') // a key with a leading dot is for sub-domains
            keys.Add(m_domain);
    }
    if (!m_domain.empty())
        keys.Add(std::string_view(m_domain.data() - 1, m_domain.size() + 1)); // with the '@'
    if (m_address.size() != m_request.size() && !m_address.empty())
        keys.Add(m_address);
    if (!is_domain || m_domain.empty())
        keys.AddWholeValue(m_request);
    if (m_local.size() > 1)
        keys.Add(m_local);
    return true;
}

const std::string& AddressFinder::GetMatchedValue() const {
    return m_matched_value.assign(m_value);
}

} // namespace kwlookup
