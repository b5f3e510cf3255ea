// SPDX-License-Identifier: MIT
#pragma once

#include "lookup/KwLookupHolder.h"

/// An object list of domain names: is the domain of an address, or a domain, on it?
///
/// Letter case is ignored (global locale). With sub-domains allowed, an entry also matches every
/// name that ends in a dot and the entry: corp.lan matches mail.corp.lan, not mycorp.lan. An entry
/// with a leading dot is compared like any other, so it matches no real domain. The entries may
/// come from any lookup: literal strings, files, plug-ins.
///
/// Threads: as KwLookupHolder.
class KW_EXPORT KwDomainsLookup : public KwLookupHolder {
public:
    using KwLookupHolder::Find;
    using KwLookupHolder::KwLookupHolder;

    /// FindDomain() when `flags` hold FIND_DOMAIN, else FindAddr().
    bool Find(const kwlookup::TextRange& text, int flags, bool allow_subdomains) const;

    /// Searches for the whole of `domain`.
    bool FindDomain(const kwlookup::TextRange& domain, bool allow_subdomains) const;

    /// Searches for what follows the first '@' of `address`, without a '>' at its end; for the
    /// whole of it where there is no '@'. False, without a search, when that domain is empty.
    bool FindAddr(const kwlookup::TextRange& address, bool allow_subdomains) const;
};
