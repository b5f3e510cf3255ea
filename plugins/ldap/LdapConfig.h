// SPDX-License-Identifier: MIT
#pragma once

#include "families/servers/ServerConfig.h"

#include <string>
#include <vector>

namespace kwlookup {

/// Parameters: those of ServerConfig, and those of kw_lookup_ldap(5).
class LdapConfig : public ServerConfig {
public:
    static constexpr char NAME[] = "lookup_ldap";
    /// ServerSettings::of_type of a login by SASL EXTERNAL.
    static constexpr char EXTERNAL[] = "EXTERNAL";

    explicit LdapConfig(const LdapConfig* global) : ServerConfig(NAME, global) {}

    /// Throws std::invalid_argument for an invalid value, with the valid values in the message, and
    /// what the base class throws.
    void PostInit() override;

    /// ServerSettings::user is BindDn. Throws std::invalid_argument for parameters that contradict
    /// each other, and what the base class throws.
    ServerSettings GetSettings() const;

    std::string GetBase() const { return m_base.Get(); }
    /// LDAP_SCOPE_...
    int GetScope() const;
    /// The names of attributes. Throws std::invalid_argument "Wrong Attributes setting [NAME]: wait
    /// names of attributes".
    std::vector<std::string> GetAttributes() const;
    /// LDAP_DEREF_...
    int GetDereference() const;
    bool FollowsReferrals() const { return m_referrals.Get(); }
    /// The number of entries that a server may send: the smaller of SizeLimit and MaxRows.
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
