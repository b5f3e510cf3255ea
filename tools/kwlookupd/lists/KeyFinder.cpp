// SPDX-License-Identifier: MIT
#include "tools/kwlookupd/lists/KeyFinder.h"

#include "text/LocaleBytes.h"

namespace kwlookup {

bool KeyFinder::Match(const std::string& value) const {
    if (HasRes())
        return false;
    const LocaleBytes& bytes = LocaleBytes::Current();
    const char* begin = value.data();
    const char* end = begin + value.size();
    bytes.Trim(begin, end);
    const char* result = bytes.FindSpace(begin, end);
    if (!bytes.EqualNoCase(std::string_view(begin, static_cast<std::size_t>(result - begin)),
                           m_key))
        return false;
    m_value = value;
    bytes.Trim(result, end);
    m_result.assign(result, end);
    if (!m_result.empty())
        NoteRes();
    return m_result.empty();
}

bool KeyFinder::GetKeys(FinderKeys& keys) const {
    keys.Add(m_key);
    return true;
}

} // namespace kwlookup
