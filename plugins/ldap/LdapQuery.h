// SPDX-License-Identifier: MIT
#pragma once

#include "plugins/ldap/LdapConfig.h"
#include "plugins/ldap/LdapTemplate.h"

#include <string>
#include <vector>

namespace kwlookup {

/// The query of an item: a filter with codes, and where and how to search.
///
/// A question is the base and the filter for a searched text, and the value that they contain,
/// separated by NUL bytes. The value may have NUL bytes too.
///
/// Threads: any.
class LdapQuery {
public:
    /// `filter` is the text of the item. Throws what ReadLdapFilter(), ReadLdapBase() and
    /// LdapConfig throw.
    LdapQuery(const std::string& filter, const LdapConfig& config);
    LdapQuery(const LdapQuery&) = delete;
    LdapQuery& operator=(const LdapQuery&) = delete;

    const std::string& GetText() const { return m_text; }
    std::string GetKey() const;
    bool Expand(const KwLookupWithConfig& lookup, const KwLookupFinder& finder, int flags,
                std::string& question) const;
    /// The text for the first code of the filter, or of the base if the filter has none.
    std::string Matched(const std::string& question) const;

    // These end at a NUL byte.
    static const char* BaseOf(const std::string& question) { return question.c_str(); }
    static const char* FilterOf(const std::string& question) {
        return question.c_str() + question.find('\0') + 1;
    }

    /// True if the base depends on the searched text.
    bool BaseHasCodes() const { return m_base.HasCodes(); }
    int GetScope() const { return m_scope; }
    int GetDereference() const { return m_dereference; }
    int GetSizeLimit() const { return m_size_limit; }
    bool FollowsReferrals() const { return m_follows_referrals; }
    /// The attributes whose values are the result; empty for a plain match.
    const std::vector<std::string>& GetAttributes() const { return m_attributes; }
    /// The same for libldap, which does not change them.
    char** GetAttributeList() const { return const_cast<char**>(m_attribute_list.data()); }

private:
    const std::string m_text;
    const LdapTemplate m_filter;
    const LdapTemplate m_base;
    const int m_scope;
    const int m_dereference;
    const int m_size_limit;
    const bool m_follows_referrals;
    const std::vector<std::string> m_attributes;
    std::vector<char*> m_attribute_list;
};

} // namespace kwlookup
