// SPDX-License-Identifier: MIT
#include "lookup/builtin/KwDomainsLookup.h"

#include "lookup/VirtualTable.h"
#include "lookup/builtin/DomainKeys.h"
#include "text/LocaleBytes.h"

namespace {

using namespace kwlookup;

/// The request for one domain.
class Finder : public KwLookupFinder {
public:
    Finder(const TextRange& text, bool exact)
        : m_begin(text.begin()), m_end(text.end()), m_exact(exact) {}

    bool Match(const std::string& entry) const override;
    TextRange GetRequest() const override { return TextRange(m_begin, m_end); }

    bool IsExact() const { return m_exact; }

private:
    TextRange::const_iterator m_begin;
    TextRange::const_iterator m_end;
    bool m_exact;
};

bool Finder::Match(const std::string& entry) const {
    const std::string_view text = ViewOf(GetRequest());
    if (text.size() < entry.size() || (m_exact && text.size() != entry.size()))
        return false;
    const std::string_view ending = text.substr(text.size() - entry.size());
    if (text.size() != entry.size() && text[text.size() - entry.size() - 1] != '.')
        return false;
    return LocaleBytes::Current().EqualNoCase(ending, entry);
}

} // namespace

bool kwlookup::IsDomainFinder(const KwLookupFinder& finder) {
    static const void* const table = VirtualTableOf(Finder(TextRange(), false));
    return VirtualTableOf(finder) == table;
}

void kwlookup::AddDomainKeys(const KwLookupFinder& finder, FinderKeys& keys) {
    const auto& domain = static_cast<const Finder&>(finder);
    const std::string_view text = ViewOf(domain.GetRequest());
    keys.Add(text);
    if (!domain.IsExact())
        keys.AddEndings(text, false);
}

bool KwDomainsLookup::Find(const TextRange& text, int flags, bool allow_subdomains) const {
    return flags & FIND_DOMAIN ? FindDomain(text, allow_subdomains)
                               : FindAddr(text, allow_subdomains);
}

bool KwDomainsLookup::FindDomain(const TextRange& domain, bool allow_subdomains) const {
    const int flags = FIND_DOMAIN | FIND_NOCASE | (allow_subdomains ? 0 : FIND_EXACT);
    return Find(Finder(domain, !allow_subdomains), nullptr, flags, nullptr);
}

bool KwDomainsLookup::FindAddr(const TextRange& address, bool allow_subdomains) const {
    const std::size_t at = ViewOf(address).find('@');
    auto begin = address.begin();
    auto end = address.end();
    if (at != std::string_view::npos) {
        begin += static_cast<std::ptrdiff_t>(at) + 1;
        if (*(end - 1) == '>')
            --end;
    }
    return begin != end && FindDomain(TextRange(begin, end), allow_subdomains);
}
