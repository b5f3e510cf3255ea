// SPDX-License-Identifier: MIT
#include "tools/kwlookupd/lists/LocalPartForms.h"

#include <algorithm>

namespace kwlookup {

namespace {

/// Tells for each byte whether a local part with it needs quotes. A table, because each byte of
/// each address is looked up.
class Special {
public:
    constexpr Special() {
        for (const char c : std::string_view("()<>[]:;@\\,\" \t"))
            m_is[static_cast<unsigned char>(c)] = true;
    }
    constexpr bool operator()(char c) const { return m_is[static_cast<unsigned char>(c)]; }

private:
    bool m_is[256] = {};
};
constexpr Special NEEDS_QUOTES;

} // namespace

std::string OtherLocalPartForm(std::string_view address) {
    const std::size_t at = address.rfind('@');
    if (at == std::string_view::npos || at == 0)
        return std::string();
    std::string_view local = address.substr(0, at);
    std::string other;
    if (local.size() >= 2 && local.front() == '"' && local.back() == '"') {
        local = local.substr(1, local.size() - 2);
        for (std::size_t i = 0; i < local.size(); ++i) {
            if (local[i] == '\\' && i + 1 < local.size())
                ++i;
            other += local[i];
        }
    } else if (std::any_of(local.begin(), local.end(), NEEDS_QUOTES)) {
        other = '"';
        for (const char c : local) {
            if (c == '"' || c == '\\')
                other += '\\';
            other += c;
        }
        other += '"';
    } else
        return other;
    return other.append(address.substr(at));
}

} // namespace kwlookup
