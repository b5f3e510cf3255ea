// SPDX-License-Identifier: MIT
#include "lookup/builtin/KwDomainsLookup.h"

#include "support/RecordingLog.h"
#include "support/TempDir.h"
#include "support/TestLocale.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace {

using namespace kwlookup;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using namespace std::string_literals;

TextRange Range(const std::string& text) {
    return TextRange(text.begin(), text.end());
}

/// A lookup that records its requests and returns a given answer.
class Spy : public KwIfLookup {
public:
    struct Request {
        std::string text;
        int flags;
        bool has_res;
        bool matches_corp_lan;
    };

    void Init(const std::string&) override {}
    std::string GetDescription() const override { return std::string(); }
    void InitLog(const LogClass&) override {}
    const LogClass* GetLogPtr() const override { return nullptr; }
    bool Find(const KwLookupFinder& finder, std::string* res, int flags,
              std::string*) const override {
        const TextRange text = finder.GetRequest();
        requests.push_back({std::string(text.begin(), text.end()), flags, res != nullptr,
                            finder.Match("corp.lan")});
        EXPECT_EQ(finder.GetRes(), "");
        return answer;
    }

    mutable std::vector<Request> requests;
    bool answer = false;
};

class Domains : public ::testing::Test {
protected:
    Domains() { RecordingLog::Silence(); }

    bool FindAddr(const std::string& address, bool allow_subdomains) const {
        return domains.FindAddr(Range(address), allow_subdomains);
    }
    bool FindDomain(const std::string& domain, bool allow_subdomains) const {
        return domains.FindDomain(Range(domain), allow_subdomains);
    }

    LogClass log{"domains"};
    KwDomainsLookup domains{log};
};

struct Case {
    const char* entry;
    std::string text;
    bool exact;
    bool with_subdomains;
};

const Case DOMAINS[] = {
    {"Corp.Lan", "corp.lan", true, true},
    {"corp.lan", "CORP.lan", true, true},
    {"corp.lan", "mail.corp.lan", false, true},
    {"corp.lan", "a.b.Corp.Lan", false, true},
    {"corp.lan", "mycorp.lan", false, false},
    {"corp.lan", "lan", false, false},
    {"corp.lan", ".corp.lan", false, true},
    {"corp.lan", "corp.lan.", false, false},
    {"corp.lan", "mail.corp.land", false, false},
    {"lan", "corp.lan", false, true},
    // A leading dot is a character like any other.
    {".corp.lan", "mail.corp.lan", false, false},
    {".corp.lan", ".corp.lan", true, true},
    {".corp.lan", "mail..corp.lan", false, true},
    // The empty entry.
    {"", "corp.lan", false, false},
    {"", "corp.lan.", false, true},
    {"", ".", false, true},
    {"", "", true, true},
    {"corp.lan", "", false, false},
    // FindDomain() does not look for an '@'.
    {"corp.lan", "jdoe@corp.lan", false, false},
    {"corp.lan", "jdoe@x.corp.lan", false, true},
    {"corp.lan", "corp.lan>", false, false},
    // Bytes are compared as they are.
    {"\xe9.lan", "\xe9.lan", true, true},
    {"\xe9.lan", "\xc9.lan", false, false},
    {"corp.lan", "corp\0.lan"s, false, false},
    {"corp.lan", "\0.corp.lan"s, false, true},
};

TEST_F(Domains, MatchesAWholeDomainOrItsSubDomains) {
    const TempDir dir;
    for (const Case& c : DOMAINS) {
        SCOPED_TRACE(testing::Message() << "[" << c.entry << "] and [" << c.text << "]");
        domains.Init("value:"s + c.entry + ",");
        ASSERT_EQ(domains.GetObjects().size(), 1U);
        EXPECT_EQ(FindDomain(c.text, false), c.exact);
        EXPECT_EQ(FindDomain(c.text, true), c.with_subdomains);
        if (*c.entry == '\0')
            continue; // a file has no empty records
        domains.Init("file:" + dir.Write("list", c.entry));
        EXPECT_EQ(FindDomain(c.text, true), c.with_subdomains);
        EXPECT_EQ(FindDomain(c.text, false), c.exact);
        EXPECT_EQ(FindDomain(c.text, true), c.with_subdomains) << "after the sort";
    }
}

const Case ADDRESSES[] = {
    {"Corp.Lan", "jdoe@corp.lan", true, true},     {"corp.lan", "jdoe@mail.corp.lan", false, true},
    {"corp.lan", "<jdoe@corp.lan>", true, true},   {"corp.lan", "jdoe@corp.lan>", true, true},
    {"corp.lan", "jdoe@corp.lan>>", false, false}, {"corp.lan", "corp.lan", true, true},
    {"corp.lan", "<corp.lan>", false, false},      {"corp.lan", "@corp.lan", true, true},
    {"corp.lan", "a@b@corp.lan", false, false},    {"corp.lan", "a@b@x.corp.lan", false, true},
    {"b@corp.lan", "a@b@corp.lan", true, true},    {"corp.lan", "jdoe@corp.lan ", false, false},
};

TEST_F(Domains, TakesTheDomainOutOfAnAddress) {
    for (const Case& c : ADDRESSES) {
        SCOPED_TRACE(testing::Message() << "[" << c.entry << "] and [" << c.text << "]");
        domains.Init("value:"s + c.entry);
        EXPECT_EQ(FindAddr(c.text, false), c.exact);
        EXPECT_EQ(FindAddr(c.text, true), c.with_subdomains);
        EXPECT_EQ(domains.Find(Range(c.text), 0, false), c.exact);
        EXPECT_EQ(domains.Find(Range(c.text), 0, true), c.with_subdomains);
    }
}

TEST_F(Domains, TheFlagDecidesWhetherTheTextIsADomain) {
    domains.Init("corp.lan, jdoe@corp.lan");
    for (const int others : {0, 1 | 2 | 4 | 16}) {
        EXPECT_TRUE(domains.Find(Range("x@corp.lan"), others, false));
        EXPECT_FALSE(domains.Find(Range("x@corp.lan"), others | FIND_DOMAIN, false));
        EXPECT_TRUE(domains.Find(Range("jdoe@corp.lan"), others | FIND_DOMAIN, false));
    }
}

TEST_F(Domains, AsksTheListForTheDomainWithItsOwnFlags) {
    Spy* const spy = new Spy;
    domains.AddObject(static_cast<KwIfLookup*>(spy));
    spy->answer = true;
    EXPECT_TRUE(FindAddr("<a@mail.corp.lan>", false));
    spy->answer = false;
    EXPECT_FALSE(FindAddr("<a@mail.corp.lan>", true));
    EXPECT_FALSE(FindDomain("<a@corp.lan>", true));
    ASSERT_EQ(spy->requests.size(), 3U);
    EXPECT_EQ(spy->requests[0].text, "mail.corp.lan");
    EXPECT_EQ(spy->requests[0].flags, 11);
    EXPECT_FALSE(spy->requests[0].matches_corp_lan) << "the finder is exact too";
    EXPECT_EQ(spy->requests[1].text, "mail.corp.lan");
    EXPECT_EQ(spy->requests[1].flags, 10);
    EXPECT_TRUE(spy->requests[1].matches_corp_lan);
    EXPECT_EQ(spy->requests[2].text, "<a@corp.lan>");
    EXPECT_TRUE(spy->requests[2].has_res);
}

TEST_F(Domains, TheFirstMemberThatMatchesEndsTheSearch) {
    Spy* const spies[] = {new Spy, new Spy};
    for (Spy* const spy : spies) {
        spy->answer = true;
        domains.AddObject(static_cast<KwIfLookup*>(spy));
    }
    for (const bool allow_subdomains : {false, true}) {
        EXPECT_TRUE(FindDomain("corp.lan", allow_subdomains));
        EXPECT_TRUE(FindAddr("jdoe@corp.lan", allow_subdomains));
    }
    EXPECT_EQ(spies[0]->requests.size(), 4U);
    EXPECT_EQ(spies[1]->requests.size(), 0U);
}

TEST_F(Domains, EmptyDomainIsNotSearched) {
    Spy* const spy = new Spy;
    spy->answer = true;
    domains.AddObject(static_cast<KwIfLookup*>(spy));
    for (const std::string text : {"", "jdoe@", "jdoe@>", "@", "@>", "<>@"}) {
        SCOPED_TRACE(text);
        EXPECT_FALSE(FindAddr(text, false));
        EXPECT_FALSE(FindAddr(text, true));
    }
    EXPECT_EQ(spy->requests.size(), 0U);
    EXPECT_TRUE(FindDomain("", false)) << "a domain is not checked";
    EXPECT_TRUE(FindAddr(">", false)) << "nothing is left out where there is no '@'";
}

TEST_F(Domains, EmptyListMatchesNothing) {
    EXPECT_FALSE(FindAddr("jdoe@corp.lan", true));
    EXPECT_FALSE(FindDomain("", true));
}

TEST_F(Domains, FoldsByTheGlobalLocale) {
    domains.Init("caf\xe9.lan");
    EXPECT_FALSE(FindDomain("CAF\xc9.LAN", false));
    const GlobalLocale locale(TestBytes::Latin1().GetLocale());
    EXPECT_TRUE(FindDomain("CAF\xc9.LAN", false));
    EXPECT_TRUE(FindDomain("mail.CAF\xc9.LAN", true));
}

TEST_F(Domains, IsALookup) {
    RecordingLog::Reset();
    domains.Init("corp.lan, file:/nowhere/list");
    const KwLookupHolder& holder = domains;
    EXPECT_EQ(holder.GetDescription(), "corp.lan, file:/nowhere/list");
    RecordingLog::Reset();
    EXPECT_TRUE(FindAddr("a@x.corp.lan", true));
    EXPECT_THAT(RecordingLog::Texts(log4cxx::Level::LEVEL_DEBUG),
                ElementsAre("KwLookupHolder::Find: found x.corp.lan matched with corp.lan"));
    EXPECT_THROW(KwObjectHolder::AfterReload(log), std::domain_error);
}

TEST_F(Domains, TakesAFilter) {
    KwDomainsLookup builtin(log, KwObjectHolder::BuiltinOnly);
    builtin.Init("ldap:x, corp.lan");
    EXPECT_EQ(builtin.GetObjects().size(), 1U);
    EXPECT_THROW(KwObjectHolder::AfterReload(log), std::domain_error);
}

TEST_F(Domains, SearchesAMegabyteOfDots) {
    domains.Init("corp.lan");
    EXPECT_FALSE(FindDomain(std::string(1 << 20, '.'), true));
    EXPECT_TRUE(FindDomain(std::string(1 << 20, '.') + "corp.lan", true));
}

} // namespace
