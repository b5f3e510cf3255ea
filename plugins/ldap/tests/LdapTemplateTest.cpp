// SPDX-License-Identifier: MIT
#include "families/servers/ServerLookup.h"
#include "families/servers/ServerSet.h"
#include "plugins/ldap/LdapBase.h"
#include "plugins/ldap/LdapConnection.h"
#include "plugins/ldap/LdapFilter.h"
#include "plugins/ldap/LdapQuery.h"
#include "support/TextFinder.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

using namespace kwlookup;

namespace {

using namespace std::string_literals;

/// The expanded template, "nothing" if there is nothing to ask, or the error.
template <typename Read>
std::string Expand(Read read, const std::string& text, const std::string& searched, int flags = 0) {
    const LogClass log("template");
    const ServerLookup<LdapConfig, LdapQuery, ServerSet<LdapConnection>> lookup(log);
    std::string out, first;
    try {
        const LdapTemplate made = read(text);
        return made.Expand(lookup, TextFinder(searched), flags, out, first) ? out : "nothing";
    } catch (const std::invalid_argument& error) {
        return error.what();
    }
}

struct Case {
    std::string text;
    std::string made;
};

TEST(LdapFilter, ReadsFilters) {
    const Case cases[] = {
        {"(mail=$s)", "(mail=jdoe@corp.lan)"},
        {"mail=$s", "(mail=jdoe@corp.lan)"},
        {"  (mail=$s)  ", "(mail=jdoe@corp.lan)"},
        {"(mail=SMTP:$s)", "(mail=SMTP\\3ajdoe@corp.lan)"},
        {"(&(uid=$u)(dc=$d))", "(&(uid=jdoe)(dc=corp.lan))"},
        {"( & (uid=$u) ( | (dc=$d) (! (o=x) ) ) )", "(&(uid=jdoe)(|(dc=corp.lan)(!(o=x))))"},
        {"(|(mail=$u*@$d)(mail=*@$d)(cn=*$u*b*))",
         "(|(mail=jdoe*@corp.lan)(mail=*@corp.lan)(cn=*jdoe*b*))"},
        {"(mail=*)", "(mail=*)"},
        {"(uid~=$u)", "(uid~=jdoe)"},
        {"(uid>=$u)", "(uid>=jdoe)"},
        {"(uid<=$u)", "(uid<=jdoe)"},
        {"(cn:dn:2.5.13.5:=$u)", "(cn:dn:2.5.13.5:=jdoe)"},
        {"(cn:caseExactMatch:=$u)", "(cn:caseExactMatch:=jdoe)"},
        {"(cn:DN:=$u)", "(cn:DN:=jdoe)"},
        {"(:dn:caseExactMatch:=$u)", "(:dn:caseExactMatch:=jdoe)"},
        {"(:2.5.13.2:=$u)", "(:2.5.13.2:=jdoe)"},
        {"(userAccountControl:1.2.840.113556.1.4.803:=2)",
         "(userAccountControl:1.2.840.113556.1.4.803:=2)"},
        {"(2.5.4.3;lang-de=$u)", "(2.5.4.3;lang-de=jdoe)"},
        {"(cn=)", "(cn=)"},
        {"(cn= a  b )", "(cn=\\20a\\20\\20b\\20)"},
        {"(cn=\\28\\2A\\5c\\00)", "(cn=\\28\\2a\\5c\\00)"},
        {"(cn=\xc3\xb6=~<>&|!:;,+\")",
         "(cn=\\c3\\b6\\3d\\7e\\3c\\3e\\26\\7c\\21\\3a\\3b\\2c\\2b\\22)"},
        {"(cn=$$s$$)", "(cn=\\24s\\24)"},
        {"cn=a$", "(cn=a)"},
        // Not a filter.
        {"", "wrong filter '': '' before here is no attribute, at byte 1"},
        {"()", "wrong filter '()': '' before here is no attribute, at byte 2"},
        {"(mail)", "wrong filter '(mail)': no '=' at byte 6"},
        {"(mail=$s", "wrong filter '(mail=$s': no ')' at byte 9"},
        {"mail=$s)", "wrong filter 'mail=$s)': text behind the filter at byte 8"},
        {"(mail=$s)(uid=$u)",
         "wrong filter '(mail=$s)(uid=$u)': text behind the filter at byte 10"},
        {"(&)", "wrong filter '(&)': no '(' at byte 3"},
        {"(&mail=$s)", "wrong filter '(&mail=$s)': no '(' at byte 3"},
        {"(!(a=b)(c=d))", "wrong filter '(!(a=b)(c=d))': no ')' at byte 8"},
        {"(mail=a**b)", "wrong filter '(mail=a**b)': nothing between two '*' at byte 9"},
        {"(mail=**)", "wrong filter '(mail=**)': nothing between two '*' at byte 8"},
        {"(mail=a(b)",
         "wrong filter '(mail=a(b)': '(' in a value, which is written \\28, at byte 8"},
        {"(mail~=*)", "wrong filter '(mail~=*)': no ')' at byte 8"},
        {"(mail:=*)", "wrong filter '(mail:=*)': no ')' at byte 8"},
        {"(mail~$s)", "wrong filter '(mail~$s)': no '=' at byte 7"},
        {"(mail=\\2)",
         "wrong filter '(mail=\\2)': no two hexadecimal digits behind '\\' at byte 7"},
        {"(mail=\\*)",
         "wrong filter '(mail=\\*)': no two hexadecimal digits behind '\\' at byte 7"},
        {"(mail=\\", "wrong filter '(mail=\\': no two hexadecimal digits behind '\\' at byte 7"},
        {"(:=x)", "wrong filter '(:=x)': neither an attribute nor a matching rule at byte 3"},
        {"(:dn:=x)", "wrong filter '(:dn:=x)': neither an attribute nor a matching rule at byte 6"},
        {"(cn:a:b:=x)",
         "wrong filter '(cn:a:b:=x)': 'b' before here is no matching rule, at byte 8"},
        {"(a_b=x)", "wrong filter '(a_b=x)': 'a_b' before here is no attribute, at byte 5"},
        {"(mail =x)", "wrong filter '(mail =x)': 'mail ' before here is no attribute, at byte 7"},
        {"(1.02=x)", "wrong filter '(1.02=x)': '1.02' before here is no attribute, at byte 6"},
        {"(1=x)", "wrong filter '(1=x)': '1' before here is no attribute, at byte 3"},
        {"(cn;=x)", "wrong filter '(cn;=x)': 'cn;' before here is no attribute, at byte 5"},
        // Codes outside values.
        {"($u=x)", "wrong filter '($u=x)': '$u' before here is no attribute, at byte 4"},
        {"$s", "wrong filter '$s': '$s' before here is no attribute, at byte 3"},
        {"(cn:$u:=x)",
         "wrong filter '(cn:$u:=x)': '$u' before here is no matching rule, at byte 7"},
        {"($u(a=b))", "wrong filter '($u(a=b))': '$u' before here is no attribute, at byte 4"},
        {"(mail=$x)", "unrecognize expansion in '(mail=$x)'"},
        {"(mail=$)", "unrecognize expansion in '(mail=$)'"},
        {"(mail=\0)"s, "the template holds a NUL byte"},
    };
    for (const Case& test : cases)
        EXPECT_EQ(Expand(ReadLdapFilter, test.text, "jdoe@corp.lan"), test.made) << test.text;
    const auto nested = [](int depth) {
        const auto count = static_cast<std::size_t>(depth - 1);
        std::string filter;
        for (std::size_t i = 0; i < count; ++i)
            filter += "(!";
        return filter + "(a=b)" + std::string(count, ')');
    };
    EXPECT_EQ(Expand(ReadLdapFilter, nested(100), "x"), nested(100));
    EXPECT_EQ(Expand(ReadLdapFilter, nested(101), "x"),
              "wrong filter '" + nested(101) +
                  "': more than 100 filters in each other at byte 201");
}

TEST(LdapBase, ReadsNames) {
    const Case cases[] = {
        {"", ""},
        {"dc=corp,dc=lan", "dc=corp,dc=lan"},
        {"ou=$d, o = A B , c=de", "ou=corp.lan,o=A\\20B,c=de"},
        {"uid=$u+cn=x,dc=lan", "uid=jdoe+cn=x,dc=lan"},
        {"cn=a\\,b\\+\\ \\#\\2a\\C3\\b6\xc3\xb6\\\\",
         "cn=a\\2cb\\2b\\20\\23\\2a\\c3\\b6\\c3\\b6\\5c"},
        {"cn=a\\ ", "cn=a\\20"},
        {"2.5.4.3=$s", "2.5.4.3=jdoe@corp.lan"},
        {"cn=$$u", "cn=\\24u"},
        {"cn=a=b", "cn=a\\3db"},
        // Not a name.
        {"corp", "wrong Base 'corp': no '=' at byte 5"},
        {"dc=", "wrong Base 'dc=': no value at byte 4"},
        {"dc=,dc=lan", "wrong Base 'dc=,dc=lan': no value at byte 4"},
        {"dc=lan,", "wrong Base 'dc=lan,': '' before here is no attribute, at byte 8"},
        {"dc=a;dc=b", "wrong Base 'dc=a;dc=b': ';' in a value, which needs a '\\', at byte 5"},
        {"cn=\"a\"", "wrong Base 'cn=\"a\"': '\"' in a value, which needs a '\\', at byte 4"},
        {"cn=#0401",
         "wrong Base 'cn=#0401': '#' at the start of a value, which is written \\23, at byte 4"},
        {"cn=\\x", "wrong Base 'cn=\\x': no two hexadecimal digits behind '\\' at byte 4"},
        {"$d", "wrong Base '$d': '$d' before here is no attribute, at byte 3"},
        {"$u=x", "wrong Base '$u=x': '$u' before here is no attribute, at byte 3"},
        {"cn;lang-de=x",
         "wrong Base 'cn;lang-de=x': 'cn;lang-de' before here is no attribute, at byte 11"},
        {"dc=$x", "unrecognize expansion in 'dc=$x'"},
    };
    for (const Case& test : cases)
        EXPECT_EQ(Expand(ReadLdapBase, test.text, "jdoe@corp.lan"), test.made) << test.text;
}

TEST(LdapTemplate, PutsTextsInAsValues) {
    struct Expansion {
        std::string text;
        std::string searched;
        int flags;
        std::string made;
    };
    const Expansion cases[] = {
        {"(m=$s)", "*)(uid=*", 0, "(m=\\2a\\29\\28uid\\3d\\2a)"},
        {"(m=$s)", "\\2a", 0, "(m=\\5c2a)"},
        {"(m=$s)", "\xff\x80\x7f", 0, "(m=\\ff\\80\\7f)"},
        {"(m=$s)", "$s$u", 0, "(m=\\24s\\24u)"},
        {"(m=$s)", "a b", 0, "(m=a\\20b)"},
        {"(m=*$s)", "*", 0, "(m=*\\2a)"},
        {"(m=$s)", "<a@b>", 0, "(m=\\3ca@b\\3e)"},
        {"(m=$s)", "<a@b>", FIND_STRIP_BRACKETS, "(m=a@b)"},
        {"(m=$u at $d)", "<a@b>", FIND_STRIP_BRACKETS, "(m=a\\20at\\20b)"},
        {"(m=$d)", "b", FIND_DOMAIN, "(m=b)"},
        {"(m=$u)", "a", 0, "(m=a)"},
        // Nothing to ask.
        {"(m=$s)", "", 0, "nothing"},
        {"(m=*$s*)", "", 0, "nothing"},
        {"(m=$s)", "<>", FIND_STRIP_BRACKETS, "nothing"},
        {"(m=$d)", "a", 0, "nothing"},
        {"(m=$d)", "a@", 0, "nothing"},
        {"(m=$u)", "@b", 0, "nothing"},
        {"(m=$u)", "b", FIND_DOMAIN, "nothing"},
        {"(|(m=$s)(m=$u))", "@b", 0, "nothing"},
        // Blanks that servers leave out when they compare.
        {"(m=$s)", " a", 0, "nothing"},
        {"(m=$s)", "a ", 0, "nothing"},
        {"(m=$s)", "a  b", 0, "nothing"},
        {"(m=x$s)", " a", 0, "nothing"},
        {"(m=$d)", "a @b", 0, "(m=b)"},
        {"(m=$s)", "a\0b"s, 0, "nothing"},
        {"(m=$s)", "a\0"s, 0, "nothing"},
    };
    for (const Expansion& test : cases)
        EXPECT_EQ(Expand(ReadLdapFilter, test.text, test.searched, test.flags), test.made)
            << test.text << " " << test.searched;
    EXPECT_EQ(Expand(ReadLdapBase, "cn=$s,o=x", "a,o=b+\"#;<>\\="),
              "cn=a\\2co\\3db\\2b\\22\\23\\3b\\3c\\3e\\5c\\3d,o=x");
}

} // namespace
