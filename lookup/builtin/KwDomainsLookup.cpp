// SPDX-License-Identifier: MIT
#include "lookup/builtin/KwDomainsLookup.h"

#include "lookup/KwKeyedFinder.h"
#include "text/LocaleBytes.h"

#include <algorithm>

namespace {

/// The request for one domain.
class Finder : public KwKeyedFinder {
public:
    Finder(const KwTextRange& text, bool exact) : m_text(text), m_exact(exact) {}

    bool Match(const std::string& entry) const override;
    KwTextRange GetRequest() const override { return m_text; }
    std::vector<std::string_view> GetKeys() const override;

private:
    KwTextRange m_text;
    bool m_exact;
    const LocaleBytes& m_bytes = LocaleBytes::Current();
};

bool Finder::Match(const std::string& entry) const {
    const std::string_view text = ViewOf(m_text);
    if (text.size() == entry.size())
        return m_bytes.EqualNoCase(text, entry);
    if (m_exact || text.size() < entry.size())
        return false;
    const std::string_view ending = text.substr(text.size() - entry.size());
    return text[text.size() - entry.size() - 1] == '.' && m_bytes.EqualNoCase(ending, entry);
}

/// The text and, with sub-domains, what follows each of its dots.
std::vector<std::string_view> Finder::GetKeys() const {
    std::vector<std::string_view> keys = {ViewOf(m_text)};
    if (m_exact)
        return keys;
    std::string_view rest = keys.front();
    for (std::size_t dot; (dot = rest.find('.')) != std::string_view::npos;) {
        rest.remove_prefix(dot + 1);
        keys.push_back(rest);
    }
    return keys;
}

} // namespace

bool KwDomainsLookup::Find(const KwTextRange& text, int flags, bool allow_subdomains) const {
    return flags & FIND_DOMAIN ? FindDomain(text, allow_subdomains)
                               : FindAddr(text, allow_subdomains);
}

bool KwDomainsLookup::FindDomain(const KwTextRange& domain, bool allow_subdomains) const {
    const int flags = FIND_DOMAIN | FIND_NOCASE | (allow_subdomains ? 0 : FIND_EXACT);
    return Find(Finder(domain, !allow_subdomains), nullptr, flags, nullptr);
}

bool KwDomainsLookup::FindAddr(const KwTextRange& address, bool allow_subdomains) const {
    auto begin = std::find(address.begin(), address.end(), '@');
    auto end = address.end();
    if (begin == end) {
        begin = address.begin();
    } else {
        ++begin;
        if (*(end - 1) == '>')
            --end;
    }
    return begin != end && FindDomain(KwTextRange(begin, end), allow_subdomains);
}
