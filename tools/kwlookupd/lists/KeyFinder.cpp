// SPDX-License-Identifier: MIT
#include "tools/kwlookupd/lists/KeyFinder.h"

#include "text/LocaleBytes.h"

namespace kwlookup {

bool KeyFinder::IsKey(std::string_view text) const {
    return m_letter_case == LetterCase::Counts ? text == m_key
                                               : LocaleBytes::Current().EqualNoCase(text, m_key);
}

bool KeyFinder::Match(const std::string& value) const {
    if (HasRes())
        return false;
    const LocaleBytes& bytes = LocaleBytes::Current();
    const char* begin = value.data();
    const char* end = begin + value.size();
    bytes.Trim(begin, end);
    const char* result = bytes.FindSpace(begin, end);
    if (IsKey(std::string_view(begin, static_cast<std::size_t>(end - begin)))) {
        m_value = value;
        return true;
    }
    if (!IsKey(std::string_view(begin, static_cast<std::size_t>(result - begin))))
        return false;
    m_value = value;
    bytes.Trim(result, end);
    m_result.assign(result, end);
    NoteRes();
    return false;
}

bool KeyFinder::GetKeys(FinderKeys& keys) const {
    keys.AddWholeValue(m_key);
    return true;
}

} // namespace kwlookup
