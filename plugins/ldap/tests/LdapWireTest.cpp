// SPDX-License-Identifier: MIT
// The request of a search differs only in its values, whatever the text is.
#include "plugins/ldap/tests/Ber.h"
#include "plugins/ldap/tests/ScriptedLdapServer.h"
#include "servers/HostileAddress.h"
#include "support/PluginSupport.h"

#include <ldap.h>

#include <atomic>
#include <memory>
#include <mutex>

using namespace kwlookup;

namespace {

/// The searched text, and the parts before and after its first '@'.
struct Parts {
    explicit Parts(const std::string& searched) : text(searched) {
        const std::size_t at = text.find('@');
        user = text.substr(0, at);
        domain = at == std::string::npos ? "" : text.substr(at + 1);
    }

    std::string text, user, domain;
};

bool IsAskable(const std::string& value) {
    return !value.empty() && value.front() != ' ' && value.back() != ' ' &&
           value.find("  ") == std::string::npos && value.find('\0') == std::string::npos;
}

/// The values of a name, as libldap reads it, each with its attribute before it.
std::vector<std::string> ReadName(const std::string& text) {
    LDAPDN read = nullptr;
    const int failure = ::ldap_str2dn(text.c_str(), &read, LDAP_DN_FORMAT_LDAPV3);
    const std::unique_ptr<LDAPRDN, void (*)(LDAPRDN*)> name(read, ::ldap_dnfree);
    if (failure != LDAP_SUCCESS)
        return {"not a name"};
    std::vector<std::string> values;
    for (LDAPRDN* rdn = read; rdn && *rdn; ++rdn)
        for (LDAPAVA** ava = *rdn; *ava; ++ava)
            values.push_back(std::string((*ava)->la_attr.bv_val, (*ava)->la_attr.bv_len) + "=" +
                             std::string((*ava)->la_value.bv_val, (*ava)->la_value.bv_len));
    return values;
}

#if defined(KWLOOKUP_UNDER_ASAN)
constexpr int ADDRESSES = 2000;
#else
constexpr int ADDRESSES = 12000;
#endif

class LdapWireTest : public PluginTest {
protected:
    LdapWireTest() : m_server([this](const std::string& request) { return Take(request); }) {
        RecordingLog::Silence();
    }

    /// The last request, or empty if there was none since the last call.
    std::string TakeRequest() {
        const std::lock_guard<std::mutex> lock(m_lock);
        return std::move(m_request);
    }

    std::mutex m_lock;
    std::string m_request;
    ScriptedLdapServer m_server;

private:
    std::string Take(const std::string& request) {
        if (!ScriptedLdapServer::IsSearch(request))
            return "";
        const std::lock_guard<std::mutex> lock(m_lock);
        m_request = request;
        return ScriptedLdapServer::Result(request, LDAP_SUCCESS);
    }
};

/// A filter with the values that it must have, and a base with its first value.
struct Template {
    std::string base;
    std::string filter;
    std::vector<std::string> (*values)(const Parts&);
    std::string (*base_value)(const Parts&);
};

TEST_F(LdapWireTest, HostileAddressesChangeNothingButValues) {
    const auto no_base = [](const Parts&) { return std::string(); };
    const Template templates[] = {
        {"dc=lan", "(&(objectClass=inetOrgPerson)(mail=$s))",
         [](const Parts& parts) {
             return std::vector<std::string>{"objectClass", "inetOrgPerson", "mail", parts.text};
         },
         no_base},
        {"dc=lan", "(\\|(uid=$u)(!(cn:dn:caseExactMatch:=$u))(cn>=$s))",
         [](const Parts& parts) {
             return std::vector<std::string>{"uid",  parts.user, "caseExactMatch", "cn", parts.user,
                                             "\xff", "cn",       parts.text};
         },
         no_base},
        {"ou=$s,dc=lan", "(mail=a*$s*b)",
         [](const Parts& parts) {
             return std::vector<std::string>{"mail", "a", parts.text, "b"};
         },
         [](const Parts& parts) { return "ou=" + parts.text; }},
        {"uid=$u+dc=$d,dc=lan", "(mail=$u at $d)",
         [](const Parts& parts) {
             return std::vector<std::string>{"mail", parts.user + " at " + parts.domain};
         },
         [](const Parts& parts) { return "uid=" + parts.user; }},
    };
    const unsigned rounds = HostileAddresses(ADDRESSES);
    for (const Template& test : templates) {
        SCOPED_TRACE(test.filter);
        KwLookupHolder holder(m_log);
        holder.Init("\"ldap:OnError=exception|Timeout=60|Attributes=cn|Hosts=" +
                    m_server.GetHost() + "|Base=" + test.base + "|" + test.filter + "\"");
        ASSERT_FALSE(holder.Empty());
        ASSERT_EQ(Ask(holder, "jdoe@corp.lan"), Miss());
        const std::vector<ber::Node> harmless = ber::Read(TakeRequest());
        std::size_t asked = 0;
        for (unsigned i = 0; i < rounds; ++i) {
            const Parts parts(HostileAddress(i));
            ASSERT_EQ(Ask(holder, parts.text), Miss());
            const std::string request = TakeRequest();
            const auto uses = [&test](const char* code) {
                return (test.base + test.filter).find(code) != std::string::npos;
            };
            const bool is_askable = (!uses("$s") || IsAskable(parts.text)) &&
                                    (!uses("$u") || IsAskable(parts.user)) &&
                                    (!uses("$d") || IsAskable(parts.domain));
            ASSERT_EQ(request.empty(), !is_askable) << i;
            if (!is_askable)
                continue;
            ++asked;
            const std::vector<ber::Node> nodes = ber::Read(request);
            ASSERT_EQ(nodes.size(), harmless.size()) << i;
            std::vector<std::string> values;
            for (std::size_t n = 0; n < nodes.size(); ++n) {
                ASSERT_EQ(nodes[n].tag, harmless[n].tag) << i;
                ASSERT_EQ(nodes[n].depth, harmless[n].depth) << i;
                // The number of the message, the base, scope, limits, and the attributes wanted.
                const bool is_filter = n > 8 && n < nodes.size() - 2;
                if (is_filter && !(nodes[n].tag & ber::CONSTRUCTED))
                    values.push_back(nodes[n].bytes);
                if (!is_filter && n != 1 && n != 3) {
                    ASSERT_EQ(nodes[n].bytes, harmless[n].bytes) << i;
                }
            }
            ASSERT_EQ(values, test.values(parts)) << i;
            const std::vector<std::string> name = ReadName(nodes[3].bytes);
            const std::vector<std::string> harmless_name = ReadName(harmless[3].bytes);
            ASSERT_EQ(name.size(), harmless_name.size()) << i;
            ASSERT_EQ(name.back(), "dc=lan") << i;
            if (name.size() > 1) {
                ASSERT_EQ(name.front(), test.base_value(parts)) << i;
            }
        }
        EXPECT_GT(asked, rounds / 20);
    }
}

} // namespace
