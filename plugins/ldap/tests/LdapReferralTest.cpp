// SPDX-License-Identifier: MIT
#include "plugins/ldap/LdapReferral.h"

#include <gtest/gtest.h>
#include <ldap.h>

#include <stdexcept>

using namespace kwlookup;

namespace {

using Mode = TlsSettings::Mode;

ServerSettings Settings(Mode mode) {
    ServerSettings settings;
    settings.servers = {{"ldap.corp.lan", 389, ""}, {"ldap.corp.lan", 636, ""}};
    settings.user = "cn=reader";
    settings.password = "secret";
    settings.of_type = "EXTERNAL";
    settings.tls.mode = mode;
    settings.tls.ca_file = "ca";
    settings.tls.cert_file = "certificate";
    settings.tls.key_file = "key";
    return settings;
}

TEST(LdapReferral, AsksInTlsWhereTheItemDoes) {
    struct Case {
        const char* url;
        Mode of_item;
        Mode made;
    };
    const Case cases[] = {
        {"ldap://other/", Mode::No, Mode::No},
        {"ldap://other/", Mode::StartTls, Mode::StartTls},
        {"ldap://other/", Mode::Require, Mode::StartTls},
        {"ldaps://other/", Mode::No, Mode::Require},
        {"ldaps://other/", Mode::StartTls, Mode::Require},
        {"LDAPS://other/", Mode::Require, Mode::Require},
    };
    for (const Case& test : cases) {
        const LdapReferral referral(test.url, Settings(test.of_item));
        EXPECT_EQ(referral.settings.tls.mode, test.made) << test.url;
        EXPECT_TRUE(referral.settings.tls.verify);
        EXPECT_EQ(referral.settings.tls.ca_file, "ca");
        EXPECT_EQ(referral.server.port, test.made == Mode::Require ? 636 : 389) << test.url;
    }
}

TEST(LdapReferral, LogsInAtConfiguredServersOnly) {
    struct Case {
        const char* url;
        bool logs_in;
    };
    const Case cases[] = {
        {"ldap://ldap.corp.lan/", true},       {"ldap://ldap.corp.lan:389/dc=x", true},
        {"ldaps://ldap.corp.lan/", true},      {"ldap://ldap.corp.lan:390/", false},
        {"ldap://ldap.corp.lan.evil/", false}, {"ldap://other/", false},
    };
    for (const Case& test : cases) {
        const ServerSettings settings = LdapReferral(test.url, Settings(Mode::StartTls)).settings;
        EXPECT_EQ(settings.user, test.logs_in ? "cn=reader" : "") << test.url;
        EXPECT_EQ(settings.password, test.logs_in ? "secret" : "") << test.url;
        EXPECT_EQ(settings.of_type, test.logs_in ? "EXTERNAL" : "") << test.url;
        EXPECT_EQ(settings.tls.cert_file, test.logs_in ? "certificate" : "") << test.url;
        EXPECT_EQ(settings.tls.key_file, test.logs_in ? "key" : "") << test.url;
    }
}

TEST(LdapReferral, TakesWhatTheUrlHas) {
    const LdapReferral bare("ldap://other", Settings(Mode::No));
    EXPECT_FALSE(bare.base || bare.scope || bare.filter);
    const LdapReferral full("ldap://other/dc=a%20b?cn?one?(mail=x)", Settings(Mode::No));
    EXPECT_EQ(full.base, "dc=a b");
    EXPECT_EQ(full.scope, LDAP_SCOPE_ONELEVEL);
    EXPECT_EQ(full.filter, "(mail=x)");
    for (const char* url :
         {"", "other", "http://other/", "ldapi:///", "ldap:///dc=x", "ldap://other:x/",
          "ldap://other/???"
          "?!1.2.3"})
        EXPECT_THROW(LdapReferral(url, Settings(Mode::No)), std::invalid_argument) << url;
}

} // namespace
