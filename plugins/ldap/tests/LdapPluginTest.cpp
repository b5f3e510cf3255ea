// SPDX-License-Identifier: MIT
#include "plugins/ldap/tests/LdapService.h"
#include "servers/HostileAddress.h"
#include "servers/ServerPluginTest.h"
#include "servers/TestAuthority.h"
#include "support/Rounds.h"

#include <ldap.h>

#include <cstdlib>
#include <fstream>
#include <set>

using namespace kwlookup;

namespace {

using namespace std::string_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

/// All tests of this program run in an environment that would make every search fail.
const bool ENVIRONMENT_IS_BAD = [] {
    for (const auto& [name, value] :
         {std::pair("LDAPURI", "ldap://nowhere.example"), std::pair("LDAPBASE", "dc=nowhere"),
          std::pair("LDAPBINDDN", "cn=nobody"), std::pair("LDAPSIZELIMIT", "1"),
          std::pair("LDAPTIMELIMIT", "1"), std::pair("LDAPDEREF", "always"),
          std::pair("LDAPREFERRALS", "on"), std::pair("LDAPVERSION", "2"),
          std::pair("LDAPNETWORK_TIMEOUT", "1"), std::pair("LDAPTIMEOUT", "1"),
          std::pair("LDAPTLS_REQCERT", "never"), std::pair("LDAPTLS_CACERT", "/nowhere"),
          std::pair("LDAPTLS_CERT", "/nowhere"), std::pair("LDAPSASL_MECH", "GSSAPI")})
        ::setenv(name, value, 1);
    return true;
}();

class LdapPluginTest : public ServerPluginTest<LdapService> {
protected:
    static constexpr const char* PEOPLE =
        "dn: ou=people,dc=example,dc=test\n"
        "objectClass: organizationalUnit\n"
        "ou: people\n"
        "\n"
        "dn: uid=many,ou=people,dc=example,dc=test\n"
        "objectClass: inetOrgPerson\n"
        "uid: many\n"
        "cn: Many\n"
        "cn: Values\n"
        "cn;lang-de: Viele\n"
        "sn:: R3LDvMOfZQ==\n" // in UTF-8
        "mail: many@corp.lan\n"
        "audio:: AP8A\n"
        "description: two\n"
        "homePhone: secret\n"
        "\n"
        "dn: uid=other,ou=people,dc=example,dc=test\n"
        "objectClass: inetOrgPerson\n"
        "uid: other\n"
        "cn: Other\n"
        "sn: Other\n"
        "mail: other@corp.lan\n"
        "mail: many@corp.lan\n"
        "audio:\n"
        "description: three\n"
        "\n"
        "dn: ou=corp.lan,dc=example,dc=test\n"
        "objectClass: organizationalUnit\n"
        "ou: corp.lan\n"
        "\n"
        "dn: uid=jdoe,ou=corp.lan,dc=example,dc=test\n"
        "objectClass: inetOrgPerson\n"
        "uid: jdoe\n"
        "cn: Inner\n"
        "sn: Inner\n"
        "description: inner\n"
        "\n"
        "dn: uid=alias,dc=example,dc=test\n"
        "objectClass: alias\n"
        "objectClass: extensibleObject\n"
        "uid: alias\n"
        "aliasedObjectName: uid=many,ou=people,dc=example,dc=test\n"
        "\n"
        "dn: uid=a\\2cb\\2b\\22\\20c,ou=people,dc=example,dc=test\n"
        "objectClass: inetOrgPerson\n"
        "uid: a,b+\" c\n"
        "cn: Odd\n"
        "sn: Odd\n"
        "description: odd\n";

    LdapPluginTest() {
        static const bool added = [] {
            Get().GetServer().Add(PEOPLE);
            return true;
        }();
        static_cast<void>(added);
    }

    static std::string Item(const std::string& query, const std::string& settings = "",
                            const std::string& hosts = Server().GetHost()) {
        return ListOf(query, hosts, settings);
    }

    /// The error of a search without the server's name.
    std::string FailureWith(const std::string& query, const std::string& settings = "",
                            const std::string& text = FOUND) {
        return ReasonOf(Item(query, settings), text);
    }
};

TEST_F(LdapPluginTest, TheEnvironmentIsBad) {
    LDAP* ldap = nullptr;
    ASSERT_EQ(::ldap_create(&ldap), LDAP_SUCCESS);
    int limit = 0;
    EXPECT_EQ(::ldap_get_option(ldap, LDAP_OPT_SIZELIMIT, &limit), LDAP_OPT_SUCCESS);
    EXPECT_EQ(limit, 1);
    ::ldap_destroy(ldap);
}

TEST_F(LdapPluginTest, Answers) {
    struct Case {
        std::string query;
        std::string settings;
        std::string text;
        int flags;
        Answer answer;
    };
    const std::string mail = "(mail=$s)";
    const std::string in_people = "Base=ou=people,dc=example,dc=test";
    const std::string many = "many@corp.lan";
    const Case cases[] = {
        {mail, "", FOUND, 0, {true, " OK", FOUND}},
        {"mail=$s", "", FOUND, 0, {true, " OK", FOUND}},
        {mail, "", "JDoe@Corp.Lan", 0, {true, " OK", "JDoe@Corp.Lan"}},
        {mail, "", MISSED, 0, Miss()},
        {mail, "", "", 0, Miss()},
        {mail, "", "<jdoe@corp.lan>", 0, Miss()},
        {mail, "", "<jdoe@corp.lan>", FIND_STRIP_BRACKETS, {true, " OK", FOUND}},
        {mail, "", " jdoe@corp.lan", 0, Miss()},
        {mail, "", "jdoe@corp.lan ", 0, Miss()},
        {mail, "", "*", 0, Miss()},
        {mail, "", "jdoe@*", 0, Miss()},
        {mail, "", "jdoe@corp.lan\0"s, 0, Miss()},
        {mail, "", "\xff", 0, Miss()},
        {"(&(objectClass=inetOrgPerson)(mail=$s))", "", FOUND, 0, {true, " OK", FOUND}},
        {"(\\|(mail=$s)(uid=$s))", "", "jdoe", 0, {true, " OK inner", "jdoe"}},
        {"(&(uid=$u)(!(mail=*)))", "", FOUND, 0, {true, " inner", "jdoe"}},
        {"(mail=*@$d)", "Scope=one", "x@corp.lan", 0, {true, " OK", "corp.lan"}},
        {"(mail=*@$d)", "Scope=one", "corp.lan", FIND_DOMAIN, {true, " OK", "corp.lan"}},
        {"(mail=$u@$d)", "", FOUND, 0, {true, " OK", "jdoe"}},
        {"(mail=j*@corp.lan)", "", "any", 0, {true, " OK", ""}},
        {"(cn:caseExactMatch:=$s)", "", "John Doe", 0, {true, " OK", "John Doe"}},
        {"(cn:caseExactMatch:=$s)", "", "john doe", 0, Miss()},
        {"(uid=a\\2cb+\\22 c)", "", "any", 0, {true, " odd", ""}},
        // Several entries and values, 8-bit, NUL and empty ones.
        {mail, in_people, many, 0, {true, " two three", many}},
        {mail,
         "Attributes=cn sn",
         many,
         0,
         {true,
          " Many Values Viele Gr\xc3\xbc\xc3\x9f"
          "e Other Other",
          many}},
        {mail, "Attributes=SN\\, CN", FOUND, 0, {true, " Doe John Doe", FOUND}},
        {mail, "Attributes=audio", many, 0, {true, " \0\xff\0"s, many}},
        {mail, "Attributes=telephoneNumber", many, 0, {true, "", many}},
        {mail, "Attributes=homePhone", many, 0, {true, "", many}},
        {mail, "Attributes=", many, 0, {true, "", many}},
        {mail, "Attributes=entryUUID cn", MISSED, 0, Miss()},
        // Bases and scopes.
        {mail, in_people, FOUND, 0, Miss()},
        {mail, "Scope=base", FOUND, 0, Miss()},
        {mail, in_people + "|Scope=ONE", many, 0, {true, " two three", many}},
        {mail, "Scope=one", many, 0, Miss()},
        {"(uid=$u)", "Base=ou=$d,dc=example,dc=test", FOUND, 0, {true, " inner", "jdoe"}},
        {"(uid=$u)", "Base=ou=$d,dc=example,dc=test", "jdoe@nowhere", 0, Miss()},
        {"(uid=$u)", "Base=ou=$d,dc=example,dc=test", "jdoe", 0, Miss()},
        {"(objectClass=*)",
         "Base=uid=$s,ou=people,dc=example,dc=test|Scope=base",
         "a,b+\" c",
         0,
         {true, " odd", "a,b+\" c"}},
        {"(objectClass=*)", "Base=uid=$s,dc=example,dc=test|Scope=base", "jdoe,ou=corp.lan", 0,
         Miss()},
        {"(uid=$s)",
         "Base=uid=alias,dc=example,dc=test|Dereference=finding",
         "many",
         0,
         {true, " two", "many"}},
        {"(uid=$s)", "Scope=one|Dereference=searching", "many", 0, {true, " two", "many"}},
        {"(uid=$s)", "Scope=one", "many", 0, Miss()},
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(test.query + " " + test.settings + " on " + test.text);
        ExpectAnswer(Item(test.query, test.settings), test.text, test.flags, test.answer);
    }
    EXPECT_THAT(TakeErrors(), IsEmpty());
}

TEST_F(LdapPluginTest, RefusesItems) {
    const std::string query = "(mail=$s)";
    const std::pair<std::string, std::string> cases[] = {
        {"mail", "wrong filter 'mail': no '=' at byte 5"},
        {"(mail=$s)(uid=$u)", "wrong filter"},
        {"($u=a)", "wrong filter"},
        {"(mail=$x)", "unrecognize expansion in '(mail=$x)'"},
        {"Base=corp.lan|" + query,
         "wrong Base 'corp.lan': 'corp.lan' before here is no attribute, at byte 9"},
        {"Base=$d|" + query, "wrong Base"},
        {"Base=dc=$x|" + query, "unrecognize expansion in 'dc=$x'"},
        {"Hosts=|" + query, "Hosts is not set"},
        {"Hosts=[|" + query, "Wrong Hosts setting"},
        {"Hosts=ldap://a|" + query, "Wrong Hosts setting"},
        {"Scope=deep|" + query, "Wrong Scope setting [deep]: wait 'sub', 'one', 'base'"},
        {"Dereference=maybe|" + query, "Wrong Dereference setting [maybe]: wait 'never', "
                                       "'searching', 'finding', 'always'"},
        {"Sasl=PLAIN|" + query, "Wrong Sasl setting [PLAIN]: wait 'EXTERNAL'"},
        {"Sasl=EXTERNAL|" + query, "Sasl needs unix sockets as Hosts, or Tls and TlsCertFile"},
        {"Sasl=EXTERNAL|Tls=require|" + query, "Sasl needs unix sockets"},
        {"Sasl=EXTERNAL|BindDn=cn=a|Password=b|Hosts=unix:/x|" + query,
         "Sasl and BindDn are both set"},
        {"BindDn=cn=a|" + query, "BindDn is set without Password"},
        {"Password=a|" + query, "Password is set without BindDn"},
        {"User=a|" + query, "ldap has no User: set BindDn"},
        {"Database=a|" + query, "ldap has no Database: set Base"},
        {"Attributes=a_b|" + query, "Wrong Attributes setting [a_b]: wait names of attributes"},
        {"Attributes=cn *|" + query, "Wrong Attributes setting [*]"},
        {"Attributes=2.5.4.3|" + query, "Wrong Attributes setting [2.5.4.3]"},
        {"SizeLimit=-1|" + query, "SizeLimit must be from 0 to"},
        {"Referrals=maybe|" + query, "error during parse"},
        {"Tls=maybe|" + query, "Wrong Tls setting"},
        {"TlsKeyFile=/x|" + query, "TlsKeyFile is set without TlsCertFile"},
        {"Timeout=0|" + query, "Timeout must be from 1 to"},
        {"MaxRows=0|" + query, "MaxRows must be at least 1"},
        {"Colour=red|" + query, "Colour"},
    };
    for (const auto& [rest, error] : cases)
        EXPECT_THAT(ErrorOf("\"ldap:Hosts=127.0.0.1|" + rest + "\""), HasSubstr(error)) << rest;
}

TEST_F(LdapPluginTest, WhatTheServerRefusesIsAFault) {
    EXPECT_EQ(FailureWith("(mail=$s)", "Base=dc=nowhere,dc=test"), "No such object");
    EXPECT_EQ(FailureWith("(mail=$s)", "Base=ou=nowhere,dc=example,dc=test"), "No such object");
    EXPECT_EQ(FailureWith("(mail=$s)", "Base=nothing=x"), "Invalid DN syntax: invalid DN");
    // Names that no entry can have.
    EXPECT_EQ(FailureWith("(mail=$s)", "Base=ou=$s,dc=example,dc=test", "\xff"),
              "Invalid DN syntax: invalid DN");
    EXPECT_EQ(FailureWith("(mail=$s)", "Attributes=surname"),
              "the server calls an attribute 'sn', which Attributes lacks");
    EXPECT_THAT(FailureWith("(mail=$s)", "BindDn=cn=nobody,dc=example,dc=test"),
                StartsWith("login: Invalid credentials"));
    EXPECT_THAT(FailureWith("(mail=$s)", "BindDn=nobody"), StartsWith("login: Invalid DN syntax"));
    // Under OnError=ignore they are misses with a line in the log.
    RecordingLog::Reset();
    KwLookupHolder holder(m_log);
    holder.Init(Item("(mail=$s)", "Base=dc=nowhere|OnError=ignore"));
    EXPECT_EQ(Ask(holder, FOUND), Miss());
    EXPECT_THAT(RecordingLog::Texts(log4cxx::Level::LEVEL_ERROR),
                ElementsAre("lookup_ldap: " + Server().GetHost() + ": No such object"));
}

TEST_F(LdapPluginTest, TooManyEntriesAreAFault) {
    const std::string people = "(objectClass=inetOrgPerson)";
    EXPECT_EQ(FailureWith(people, "MaxRows=1"), "Size limit exceeded");
    EXPECT_EQ(FailureWith(people, "SizeLimit=1"), "Size limit exceeded");
    EXPECT_THAT(FailureWith(people, "SizeLimit=100"), StartsWith("without name: found"));
    EXPECT_THAT(FailureWith("(mail=$s)", "SizeLimit=1"), StartsWith("without name: found"));
}

TEST_F(LdapPluginTest, AttributesThatMayNotBeReadAreNotFound) {
    EXPECT_EQ(AskList(Item("(homePhone=secret)"), "any"), Miss());
    EXPECT_EQ(AskList("\"ldap:OnError=exception|Hosts=" + Server().GetHost() +
                          "|Base=ou=$d,dc=example,dc=test|(uid=$u)\"",
                      FOUND),
              Miss())
        << "nobody has logged in, so no entry is there";
}

TEST_F(LdapPluginTest, SaslLogsInAsTheUserOfTheProcess) {
    const auto item = [](const std::string& hosts, const std::string& settings) {
        return "\"ldap:OnError=exception|RetryInterval=0|Base=dc=example,dc=test|Attributes="
               "description|Hosts=" +
               hosts + "|" + settings + "|(mail=$s)\"";
    };
    ExpectWorks(item(Server().GetUnixHost(), "Sasl=external"));
    // Without a login, the entry is invisible.
    EXPECT_EQ(FailureOf(item(Server().GetUnixHost(), "Referrals=no")),
              Server().GetUnixHost() + ": No such object");

    const TestAuthority authority;
    Server().UseCertificate(authority.ForServer());
    const TestCertificate client = authority.ForClient("reader");
    const std::string trusting = "|TlsCaFile=" + authority.GetCaFile();
    const std::string certificate =
        trusting + "|TlsCertFile=" + client.certificate_file + "|TlsKeyFile=" + client.key_file;
    ExpectWorks(item(Get().GetTlsHost(), "Sasl=EXTERNAL|Tls=require" + certificate));
    ExpectWorks(item(Server().GetHost(), "Sasl=EXTERNAL|Tls=starttls" + certificate));
    EXPECT_EQ(FailureOf(item(Server().GetHost(), "Tls=starttls" + trusting)),
              Server().GetHost() + ": No such object");
    // The default port is that of TLS, where no server listens.
    EXPECT_EQ(FailureOf(item("127.0.0.1", "Tls=require" + trusting)),
              "127.0.0.1:636: Connection refused");
    EXPECT_EQ(FailureOf(item("127.0.0.1", "Tls=starttls" + trusting)),
              "127.0.0.1:389: Connection refused");
}

TEST_F(LdapPluginTest, ReferralsOfAServer) {
    SlapdServer there;
    there.Add("dn: uid=jdoe,dc=example,dc=test\n"
              "objectClass: inetOrgPerson\n"
              "uid: jdoe\n"
              "cn: J\n"
              "sn: Doe\n"
              "description: there\n");
    SlapdServer here(nullptr, "");
    here.Add("dn: ou=elsewhere,dc=example,dc=test\n"
             "objectClass: referral\n"
             "objectClass: extensibleObject\n"
             "ou: elsewhere\n"
             "ref: ldap://" +
             there.GetHost() + "/dc=example,dc=test\n");
    const auto outcome = [&](const std::string& settings) {
        return FailureOf("\"ldap:OnError=exception|Attributes=description|Hosts=" + here.GetHost() +
                         "|" + settings + "|(uid=$u)\"");
    };
    const std::string whole = "Base=dc=example,dc=test";
    const std::string below = "Base=ou=elsewhere,dc=example,dc=test";
    for (const std::string& base : {whole, below}) {
        EXPECT_THAT(outcome(base),
                    StartsWith(here.GetHost() + ": the answer is at ldap://" + there.GetHost()));
        EXPECT_EQ(outcome(base + "|Referrals=yes"), "found there");
    }
    there.Kill();
    EXPECT_THAT(outcome(whole + "|Referrals=yes"), HasSubstr("Connection refused"));
}

TEST_F(LdapPluginTest, HostileAddressesMatchNothingElse) {
    const std::set<std::string> stored = {
        "jdoe@corp.lan", "*",        "%",          "_", "'", "\"", "(", ")", "\\",
        "corp.lan",      "*)(uid=*", "j\xc3\xb6@x"};
    std::string ldif = "dn: ou=hostile,dc=example,dc=test\n"
                       "objectClass: organizationalUnit\n"
                       "ou: hostile\n";
    int number = 0;
    for (const std::string& address : stored) {
        std::string hexadecimal;
        for (const char c : address)
            for (const int digit :
                 {static_cast<unsigned char>(c) / 16, static_cast<unsigned char>(c) % 16})
                hexadecimal += "0123456789abcdef"[digit];
        ldif += "\ndn: cn=" + std::to_string(number++) +
                ",ou=hostile,dc=example,dc=test\n"
                "objectClass: inetOrgPerson\n"
                "sn: x\n"
                "description: " +
                hexadecimal +
                "\n"
                "uid: " +
                address + "\n";
    }
    Get().GetServer().Add(ldif);
    KwLookupHolder holder(m_log);
    holder.Init(Item("(\\|(uid=$s)(mail=$s))", "Base=ou=hostile,dc=example,dc=test"));
    RecordingLog::Silence();
    int found = 0;
    for (unsigned i = 0; i < static_cast<unsigned>(Rounds(20000)); ++i) {
        const std::string address = HostileAddress(i);
        std::string lower = address;
        for (char& c : lower)
            c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
        const auto expected = stored.find(lower);
        const Answer answer = Ask(holder, address);
        ASSERT_EQ(answer.found, expected != stored.end())
            << i << ": " << address.substr(0, 200) << answer.res;
        found += answer.found;
    }
    EXPECT_GT(found, 0);
}

} // namespace
