// SPDX-License-Identifier: MIT
#pragma once

#include "lookup/KwLookupHolder.h"

/// An object list of domain names. Tells whether a domain, or the domain of an address, is on it.
///
///     KwDomainsLookup domains(log);
///     domains.Init("corp.lan, file:/etc/mail/domains");
///     const std::string address = "jdoe@mail.corp.lan";
///     domains.FindAddr({address.begin(), address.end()}, true); // true
///
/// Letter case (of the global locale) is ignored. With sub-domains allowed, an entry also matches
/// every name that ends with a dot and the entry: corp.lan matches mail.corp.lan, but not
/// mycorp.lan. An entry with a leading dot is compared like any other, so it matches no real
/// domain. The entries may come from any lookup: literal values, files, plug-ins.
///
/// Threads: as KwLookupHolder.
class KW_EXPORT KwDomainsLookup : public KwLookupHolder {
public:
    using KwLookupHolder::Find;
    using KwLookupHolder::KwLookupHolder;

    /// Calls FindDomain() when `flags` has FIND_DOMAIN, otherwise FindAddr().
    bool Find(const kwlookup::TextRange& text, int flags, bool allow_subdomains) const;

    /// Searches for the whole of `domain`.
    bool FindDomain(const kwlookup::TextRange& domain, bool allow_subdomains) const;

    /// Searches for the text after the first '@' of `address`, without a '>' at its end. Without an
    /// '@', searches for the whole text. Returns false without a search when that domain is empty.
    bool FindAddr(const kwlookup::TextRange& address, bool allow_subdomains) const;
};
