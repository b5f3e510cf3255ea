// SPDX-License-Identifier: MIT
#pragma once

#include "families/servers/ServerConfig.h"

#include <string>
#include <vector>

namespace kwlookup {

/// The parameters of every type that asks servers, and those of ldap.
class LdapConfig : public ServerConfig {
public:
    static constexpr char NAME[] = "lookup_ldap";
    /// `of_type` of settings that log in by SASL EXTERNAL.
    static constexpr char EXTERNAL[] = "EXTERNAL";

    explicit LdapConfig(const LdapConfig* global) : ServerConfig(NAME, global) {}

    /// Throws std::invalid_argument for a value that a parameter cannot have, with those that it
    /// can have in the text, besides what the base throws.
    void PostInit() override;

    /// `user` is BindDn. Throws std::invalid_argument for parameters that contradict each other,
    /// besides what the base throws.
    ServerSettings GetSettings() const;

    std::string GetBase() const { return m_base.Get(); }
    /// LDAP_SCOPE_...
    int GetScope() const;
    /// Names of attributes. Throws std::invalid_argument "Wrong Attributes setting [NAME]: wait
    /// names of attributes".
    std::vector<std::string> GetAttributes() const;
    /// LDAP_DEREF_...
    int GetDereference() const;
    bool FollowsReferrals() const { return m_referrals.Get(); }
    /// How many entries a server may send: SizeLimit and MaxRows, whichever is smaller.
    int GetSizeLimit() const;

private:
    Parameter<std::string> m_base{*this, "Base"};
    Parameter<std::string> m_scope{*this, "Scope"};
    Parameter<std::string> m_attributes{*this, "Attributes"};
    Parameter<std::string> m_bind_dn{*this, "BindDn"};
    Parameter<std::string> m_sasl{*this, "Sasl"};
    Parameter<std::string> m_dereference{*this, "Dereference"};
    Parameter<bool> m_referrals{*this, "Referrals", false};
    Parameter<int> m_size_limit{*this, "SizeLimit", 0};
};

} // namespace kwlookup
