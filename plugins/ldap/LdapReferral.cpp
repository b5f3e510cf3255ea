// SPDX-License-Identifier: MIT
#include "plugins/ldap/LdapReferral.h"

#include <boost/algorithm/string/predicate.hpp>
#include <boost/algorithm/string/split.hpp>

#include <algorithm>
#include <ldap.h>
#include <memory>
#include <stdexcept>
#include <vector>

namespace kwlookup {
namespace {

struct FreeUrl {
    void operator()(LDAPURLDesc* url) const { ::ldap_free_urldesc(url); }
};

/// The number of the scope among the parts of a URL, which are separated by question marks.
constexpr std::size_t SCOPE = 2;

bool HasScope(const std::string& url) {
    std::vector<std::string> parts;
    boost::algorithm::split(parts, url, [](char c) { return c == '?'; });
    return parts.size() > SCOPE && !parts[SCOPE].empty();
}

bool IsSet(const char* text) {
    return text && *text != '\0';
}

} // namespace

LdapReferral::LdapReferral(const std::string& url, const ServerSettings& of_item)
    : settings(of_item) {
    LDAPURLDesc* read = nullptr;
    const int failure = ::ldap_url_parse(url.c_str(), &read);
    const std::unique_ptr<LDAPURLDesc, FreeUrl> parts(read);
    if (failure == LDAP_URL_ERR_MEM)
        throw std::bad_alloc();
    const bool is_tls = !failure && boost::algorithm::iequals(parts->lud_scheme, "ldaps");
    const bool is_plain = !failure && boost::algorithm::iequals(parts->lud_scheme, "ldap");
    if (!(is_tls || is_plain) || !IsSet(parts->lud_host) || parts->lud_crit_exts > 0)
        throw std::invalid_argument("wrong URL");
    server.host = parts->lud_host;
    server.port = static_cast<std::uint16_t>(parts->lud_port);
    if (IsSet(parts->lud_dn))
        base = parts->lud_dn;
    if (IsSet(parts->lud_filter))
        filter = parts->lud_filter;
    if (HasScope(url))
        scope = parts->lud_scope;
    const bool is_known =
        std::find(of_item.servers.begin(), of_item.servers.end(), server) != of_item.servers.end();
    if (!is_known) {
        settings.user.clear();
        settings.password.clear();
        settings.of_type.clear();
        settings.tls.cert_file.clear();
        settings.tls.key_file.clear();
    }
    if (is_tls)
        settings.tls.mode = TlsSettings::Mode::Require;
    else if (settings.tls.mode != TlsSettings::Mode::No)
        settings.tls.mode = TlsSettings::Mode::StartTls;
}

} // namespace kwlookup
