// SPDX-License-Identifier: MIT
#include "plugins/ldap/LdapConfig.h"

#include "plugins/ldap/LdapNames.h"

#include <boost/algorithm/string/classification.hpp>
#include <boost/algorithm/string/predicate.hpp>
#include <boost/algorithm/string/split.hpp>

#include <algorithm>
#include <climits>
#include <ldap.h>
#include <stdexcept>
#include <utility>

namespace kwlookup {
namespace {

constexpr std::uint16_t PORT = LDAP_PORT;
constexpr std::uint16_t TLS_PORT = LDAPS_PORT;

/// The words that a parameter may have, and their meanings.
using Choices = std::initializer_list<std::pair<const char*, int>>;

const Choices SCOPES = {
    {"sub", LDAP_SCOPE_SUBTREE}, {"one", LDAP_SCOPE_ONELEVEL}, {"base", LDAP_SCOPE_BASE}};
const Choices DEREFERENCES = {{"never", LDAP_DEREF_NEVER},
                              {"searching", LDAP_DEREF_SEARCHING},
                              {"finding", LDAP_DEREF_FINDING},
                              {"always", LDAP_DEREF_ALWAYS}};

/// The meaning of `text`. An empty text stands for the first choice.
int Choose(const char* name, const std::string& text, const Choices& choices) {
    if (text.empty())
        return choices.begin()->second;
    std::string words;
    for (const auto& [word, meaning] : choices) {
        if (boost::algorithm::iequals(text, word))
            return meaning;
        words += std::string(words.empty() ? "'" : ", '") + word + "'";
    }
    throw std::invalid_argument(std::string("Wrong ") + name + " setting [" + text + "]: wait " +
                                words);
}

bool IsExternal(const std::string& text) {
    if (text.empty() || boost::algorithm::iequals(text, LdapConfig::EXTERNAL))
        return !text.empty();
    throw std::invalid_argument("Wrong Sasl setting [" + text + "]: wait 'EXTERNAL'");
}

bool IsNamedByCertificate(const ServerSettings& settings) {
    return settings.tls.mode != TlsSettings::Mode::No && !settings.tls.cert_file.empty();
}

} // namespace

void LdapConfig::PostInit() {
    ServerConfig::PostInit();
    Choose("Scope", m_scope.GetOwn(), SCOPES);
    Choose("Dereference", m_dereference.GetOwn(), DEREFERENCES);
    IsExternal(m_sasl.GetOwn());
    m_size_limit.CheckRange(0, INT_MAX);
}

ServerSettings LdapConfig::GetSettings() const {
    ServerSettings settings = GetServerSettings(PORT);
    if (settings.tls.mode == TlsSettings::Mode::Require)
        settings = GetServerSettings(TLS_PORT);
    if (!settings.user.empty())
        throw std::invalid_argument("ldap has no User: set BindDn");
    if (!settings.database.empty())
        throw std::invalid_argument("ldap has no Database: set Base");
    settings.user = m_bind_dn.Get();
    if (settings.user.find('\0') != std::string::npos)
        throw std::invalid_argument("BindDn holds a NUL byte");
    if (!settings.user.empty() && settings.password.empty())
        throw std::invalid_argument("BindDn is set without Password");
    if (settings.user.empty() && !settings.password.empty())
        throw std::invalid_argument("Password is set without BindDn");
    if (IsExternal(m_sasl.Get())) {
        if (!settings.user.empty())
            throw std::invalid_argument("Sasl and BindDn are both set");
        const bool is_local = std::all_of(settings.servers.begin(), settings.servers.end(),
                                          [](const Server& server) { return server.IsUnix(); });
        if (!is_local && !IsNamedByCertificate(settings))
            throw std::invalid_argument("Sasl needs unix sockets as Hosts, or Tls and TlsCertFile");
        settings.of_type = EXTERNAL;
    }
    return settings;
}

int LdapConfig::GetScope() const {
    return Choose("Scope", m_scope.Get(), SCOPES);
}

std::vector<std::string> LdapConfig::GetAttributes() const {
    std::vector<std::string> names;
    const std::string& text = m_attributes.Get();
    boost::algorithm::split(names, text, boost::algorithm::is_any_of(", \t"),
                            boost::algorithm::token_compress_on);
    names.erase(std::remove(names.begin(), names.end(), std::string()), names.end());
    for (const std::string& name : names)
        if (!IsLdapAttribute(name) || !IsLetter(name[0]))
            throw std::invalid_argument("Wrong Attributes setting [" + name +
                                        "]: wait names of attributes");
    return names;
}

int LdapConfig::GetDereference() const {
    return Choose("Dereference", m_dereference.Get(), DEREFERENCES);
}

int LdapConfig::GetSizeLimit() const {
    const int size_limit = m_size_limit.Get();
    const int max_rows = static_cast<int>(GetServerSettings(PORT).max_rows);
    return size_limit == 0 ? max_rows : std::min(size_limit, max_rows);
}

} // namespace kwlookup
