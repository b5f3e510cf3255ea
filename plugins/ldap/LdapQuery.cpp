// SPDX-License-Identifier: MIT
#include "plugins/ldap/LdapQuery.h"

#include "plugins/ldap/LdapBase.h"
#include "plugins/ldap/LdapFilter.h"

#include <ldap.h>

namespace kwlookup {
namespace {

char NO_ATTRIBUTES[] = LDAP_NO_ATTRS;

} // namespace

LdapQuery::LdapQuery(const std::string& filter, const LdapConfig& config)
    : m_text(filter), m_filter(ReadLdapFilter(filter)), m_base(ReadLdapBase(config.GetBase())),
      m_scope(config.GetScope()), m_dereference(config.GetDereference()),
      m_size_limit(config.GetSizeLimit()), m_follows_referrals(config.FollowsReferrals()),
      m_attributes(config.GetAttributes()) {
    for (const std::string& name : m_attributes)
        m_attribute_list.push_back(const_cast<char*>(name.c_str()));
    if (m_attribute_list.empty())
        m_attribute_list.push_back(NO_ATTRIBUTES);
    m_attribute_list.push_back(nullptr);
}

std::string LdapQuery::GetKey() const {
    std::string key;
    for (const int number :
         {m_scope, m_dereference, m_size_limit, int(m_follows_referrals), int(BaseHasCodes())})
        key += std::to_string(number) + ' ';
    for (const std::string& name : m_attributes)
        key += name + ' ';
    return key;
}

bool LdapQuery::Expand(const KwLookupWithConfig& lookup, const KwLookupFinder& finder, int flags,
                       std::string& question) const {
    static thread_local std::string in_base, in_filter; // keep their memory
    in_base.clear();
    in_filter.clear();
    if (!m_base.Expand(lookup, finder, flags, question, in_base))
        return false;
    question += '\0';
    if (!m_filter.Expand(lookup, finder, flags, question, in_filter))
        return false;
    question += '\0';
    question += in_filter.empty() ? in_base : in_filter;
    return true;
}

std::string LdapQuery::Matched(const std::string& question) const {
    const std::size_t filter = question.find('\0') + 1;
    return question.substr(question.find('\0', filter) + 1);
}

} // namespace kwlookup
