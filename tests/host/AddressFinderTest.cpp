// SPDX-License-Identifier: MIT
#include "kwhost/AddressFinder.h"

#include "lookup/KwLookupHolder.h"
#include "lookup/builtin/KwFileLookup.h"
#include "support/RecordingLog.h"
#include "support/TempDir.h"
#include "support/TestLocale.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

using namespace std::string_literals;

namespace {

using namespace kwlookup;

enum Outcome { No, Plain, Result };

struct MatchCase {
    std::string text;
    std::string value;
    Outcome outcome;
    std::string result = std::string();
};

template <std::size_t N>
void CheckMatches(const MatchCase (&cases)[N]) {
    for (const MatchCase& c : cases) {
        SCOPED_TRACE("text [" + c.text + "] value [" + c.value + "]");
        const AddressFinder finder(c.text);
        EXPECT_EQ(finder.Match(c.value), c.outcome == Plain);
        EXPECT_EQ(finder.GetRes(), c.result);
        EXPECT_EQ(finder.GetRes().empty(), c.outcome != Result);
        EXPECT_EQ(finder.GetMatchedValue(), c.outcome == No ? "" : c.value);
    }
}

const MatchCase ADDRESS_KEYS[] = {
    {"jdoe@corp.lan", "jdoe@corp.lan", Plain}, {"JDoe@Corp.LAN", "jdoe@corp.lan", Plain},
    {"jdoe@corp.lan", "JDOE@CORP.LAN", Plain}, {"<jdoe@corp.lan>", "jdoe@corp.lan", Plain},
    {"jdoe@corp.lan", "jdoe@corp.la", No},     {"jdoe@corp.lan", "jdoe@corp.lan.", No},
    {"jdoe@corp.lan", "doe@corp.lan", No},     {"jdoe@corp.lan", "xjdoe@corp.lan", No},
    {"corp.lan", "jdoe@corp.lan", No},
};

const MatchCase DOMAIN_KEYS[] = {
    {"jdoe@corp.lan", "corp.lan", Plain},   {"jdoe@CORP.lan", "@corp.LAN", Plain},
    {"<jdoe@corp.lan>", "corp.lan", Plain}, {"<jdoe@corp.lan>", "@corp.lan", Plain},
    {"corp.lan", "corp.lan", Plain},        {"corp.lan", "@corp.lan", Plain},
    {"<corp.lan>", "corp.lan", Plain},      {"@corp.lan", "corp.lan", Plain},
    {"jdoe@mail.corp.lan", "corp.lan", No}, {"jdoe@mail.corp.lan", "@corp.lan", No},
    {"mail.corp.lan", "corp.lan", No},      {"jdoe@corp.lan", "mail.corp.lan", No},
    {"jdoe@xcorp.lan", "corp.lan", No},     {"jdoe@corp.lan", "@@corp.lan", No},
    {"jdoe@corp.lan", "<corp.lan>", No},
};

const MatchCase SUBDOMAIN_KEYS[] = {
    {"jdoe@mail.corp.lan", ".corp.lan", Plain}, {"jdoe@a.b.corp.lan", ".corp.lan", Plain},
    {"mail.corp.lan", ".corp.lan", Plain},      {"<jdoe@MAIL.CORP.LAN>", ".corp.lan", Plain},
    {"jdoe@mail.corp.lan", ".lan", Plain},      {"jdoe@corp.x", ".x", Plain},
    {"jdoe@corp.lan", ".corp.lan", No},         {"corp.lan", ".corp.lan", No},
    {"jdoe@mailcorp.lan", ".corp.lan", No},     {"jdoe@mail.corp.lan.org", ".corp.lan", No},
    {"jdoe@.corp.lan", ".corp.lan", No},        {"jdoe@corp.lan.", ".", No},
    {"a.corp.lan@other.org", ".corp.lan", No},
};

const MatchCase LOCAL_PART_KEYS[] = {
    {"jdoe@corp.lan", "jdoe@", Plain},
    {"JDOE@other.org", "jdoe@", Plain},
    {"<jdoe@corp.lan>", "jdoe@", Plain},
    {"jdoe", "jdoe@", No},
    {"jdoe.lan", "jdoe@", No},
    {"xjdoe@corp.lan", "jdoe@", No},
    {"doe@corp.lan", "jdoe@", No},
    {"jdoe@corp.lan", "@", No},
    {"@corp.lan", "@", No},
    {"jdoe@corp.lan", "corp.lan@", No},
};

const MatchCase WHOLE_TEXT_KEYS[] = {
    {"", "", Plain},
    {"", " \t", Plain},
    {"", "x", No},
    {"x@y", "", No},
    {"x@y", "  ", No},
    {"<>", "<>", Plain},
    {"<>", "", No},
    {"<>", "@", No},
    {"<", "<", Plain},
    {">", "<", No},
    {"@", "@", Plain},
    {".", ".", Plain},
    {"<jdoe@corp.lan>", "<jdoe@corp.lan>", Plain},
    {"<<jdoe@corp.lan>>", "<jdoe@corp.lan>", Plain},
    {"<<jdoe@corp.lan>>", "jdoe@corp.lan", No},
    {"jdoe@corp.lan", "<jdoe@corp.lan>", No},
    {"<jdoe@corp.lan", "jdoe@corp.lan", No},
    {"jdoe@corp.lan>", "jdoe@corp.lan", No},
    {".corp.lan", ".corp.lan", Plain},
    {"two words", "two words", Plain},
    {"two words", "TWO WORDS", Plain},
    {"two words more", "two words", No},
    {" x ", " x ", Plain},
    {"#comment", "#comment", Plain},
    {"[10.0.0.1]", "[10.0.0.1]", Plain},
};

const MatchCase SEVERAL_AT_SIGNS[] = {
    {"a@b@corp.lan", "corp.lan", Plain},
    {"a@b@corp.lan", "@corp.lan", Plain},
    {"a@b@corp.lan", "a@b@", Plain},
    {"a@b@corp.lan", "a@b@corp.lan", Plain},
    {"a@b@corp.lan", "a@", No},
    {"a@b@corp.lan", "b@", No},
    {"a@b@corp.lan", "b@corp.lan", No},
    {"a@b@corp.lan", "@b@corp.lan", No},
    {"jdoe@", "jdoe@", Plain},
    {"jdoe@", "corp.lan", No},
    {"jdoe@", "@", No},
    {"@", "corp.lan", No},
};

const MatchCase RESULTS[] = {
    {"jdoe@corp.lan", "corp.lan REJECT", Result, "REJECT"},
    {"jdoe@corp.lan", "corp.lan\tREJECT", Result, "REJECT"},
    {"jdoe@corp.lan", "  corp.lan \t  550 no,  thanks  ", Result, "550 no,  thanks"},
    {"jdoe@corp.lan", "jdoe@ OK", Result, "OK"},
    {"jdoe@mail.corp.lan", ".corp.lan OK", Result, "OK"},
    {"<jdoe@corp.lan>", "<JDOE@corp.lan> OK", Result, "OK"},
    {"jdoe@corp.lan", "corp.lan ", Plain},
    {"jdoe@corp.lan", "\tcorp.lan\r", Plain},
    {"jdoe@corp.lan", "corp.lan#OK", No},
    {"jdoe@corp.lan", "# corp.lan OK", No},
    {"jdoe@corp.lan", "other.org corp.lan", No},
    {"#", "# corp.lan OK", Result, "corp.lan OK"},
    // The whole value equals the searched text, and its key does not: a plain match.
    {"corp.lan OK", "corp.lan OK", Plain},
    // Both: the key is the searched domain.
    {"x@corp.lan", "corp.lan x@corp.lan", Result, "x@corp.lan"},
    {"jdoe@corp.lan", "corp.lan \x80\xff"s, Result, "\x80\xff"},
    {"jdoe@corp.lan", "corp.lan a\0b"s, Result, "a\0b"s},
};

const MatchCase BYTES[] = {
    {"j\xe4@corp.lan", "j\xe4@corp.lan", Plain},
    {"j\xe4@corp.lan", "j\xc4@corp.lan", No}, // not letters in the classic locale
    {"j\xff@corp.lan", "j\xff@", Plain},
    {"j\0d@corp.lan"s, "j\0d@corp.lan"s, Plain},
    {"j\0d@corp.lan"s, "j\0x@corp.lan"s, No},
    {"j\0d@corp.lan"s, "j"s, No},
    {"jdoe@corp.lan\0"s, "corp.lan"s, No},
    {"jdoe@corp.lan", "corp.lan\0"s, No},
    {"\0"s, "\0"s, Plain},
    {"\0"s, ""s, No},
};

TEST(AddressFinderMatch, Addresses) {
    CheckMatches(ADDRESS_KEYS);
}

TEST(AddressFinderMatch, Domains) {
    CheckMatches(DOMAIN_KEYS);
}

TEST(AddressFinderMatch, Subdomains) {
    CheckMatches(SUBDOMAIN_KEYS);
}

TEST(AddressFinderMatch, LocalParts) {
    CheckMatches(LOCAL_PART_KEYS);
}

TEST(AddressFinderMatch, WholeTexts) {
    CheckMatches(WHOLE_TEXT_KEYS);
}

TEST(AddressFinderMatch, SeveralAtSigns) {
    CheckMatches(SEVERAL_AT_SIGNS);
}

TEST(AddressFinderMatch, Results) {
    CheckMatches(RESULTS);
}

TEST(AddressFinderMatch, Bytes) {
    CheckMatches(BYTES);
}

TEST(AddressFinder, FollowsTheGlobalLocale) {
    const GlobalLocale latin1(TestBytes::Latin1().GetLocale());
    EXPECT_TRUE(AddressFinder("j\xe4@corp.lan").Match("j\xc4@CORP.LAN"));
    const AddressFinder finder("jdoe@corp.lan");
    EXPECT_FALSE(finder.Match("corp.lan\xa0OK\xa0"));
    EXPECT_EQ(finder.GetRes(), "OK");
}

TEST(AddressFinder, RequestIsTheTextAsGiven) {
    for (const std::string& text :
         {"<jdoe@corp.lan>"s, " x "s, ""s, "a\0\xff"s, std::string(1 << 20, 'x')}) {
        const AddressFinder finder(text);
        const TextRange request = finder.GetRequest();
        EXPECT_EQ(std::string(request.begin(), request.end()), text);
    }
}

TEST(AddressFinder, KeepsACopyOfTheText) {
    std::string text = "jdoe@corp.lan";
    const AddressFinder finder(text);
    text.assign(text.size(), '#');
    EXPECT_TRUE(finder.Match("corp.lan"));
}

TEST(AddressFinder, WithANewTextItIsLikeANewFinder) {
    const std::vector<std::string> texts = {"jdoe@corp.lan",
                                            "<jdoe@corp.lan>",
                                            "corp.lan",
                                            "<corp.lan>",
                                            "x@y",
                                            "",
                                            "@",
                                            "a@" + std::string(100000, 'd') + ".lan"};
    const std::vector<std::string> values = {"jdoe@corp.lan", "corp.lan yes", ".lan",
                                             "jdoe@",         "@corp.lan",    "x@y"};
    for (const std::string& before : texts)
        for (const std::string& text : texts) {
            AddressFinder finder(before);
            finder.Match("corp.lan first");
            finder.SetText(text);
            EXPECT_EQ(finder.GetRes(), "");
            EXPECT_EQ(finder.GetMatchedValue(), "");
            const TextRange request = finder.GetRequest();
            EXPECT_EQ(std::string(request.begin(), request.end()), text);
            for (const std::string& value : values) {
                const AddressFinder fresh(text);
                finder.SetText(text);
                EXPECT_EQ(finder.Match(value), fresh.Match(value)) << text << ' ' << value;
                EXPECT_EQ(finder.GetRes(), fresh.GetRes()) << text << ' ' << value;
                EXPECT_EQ(finder.GetMatchedValue(), fresh.GetMatchedValue());
            }
        }
}

// A list that has fetched keys into a finder must not use them for its next text.
TEST(AddressFinder, WithANewTextItHasNewKeysInAList) {
    const TempDir dir;
    std::string lines;
    for (int i = 0; i < 100; ++i)
        lines += "host" + std::to_string(i) + ".lan\n";
    KwFileLookup list;
    list.Init(dir.Write("hosts", lines));
    AddressFinder finder("x@host1.lan"), other("x@host2.lan");
    const KwLookupFinder* const finders[] = {&finder, &other};
    std::string result, matched;
    ASSERT_TRUE(list.Find(finder, &result, 0, &matched)); // makes the index
    list.Fetch(finders, 2, 0);
    finder.SetText("x@host3.lan");
    EXPECT_TRUE(list.Find(finder, &result, 0, &matched));
    EXPECT_EQ(matched, "host3.lan");
    list.Fetch(finders, 2, 0);
    finder.SetText("x@none.lan");
    EXPECT_FALSE(list.Find(finder, &result, 0, &matched));
}

TEST(AddressFinder, TextsMayHaveMegabytes) {
    const std::string local(1 << 20, 'l');
    const std::string domain(1 << 20, 'd');
    const std::string text = local + "@" + domain;
    EXPECT_TRUE(AddressFinder(text).Match(text));
    EXPECT_TRUE(AddressFinder(text).Match(domain));
    EXPECT_TRUE(AddressFinder(text).Match("@" + domain));
    EXPECT_TRUE(AddressFinder(text).Match(local + "@"));
    EXPECT_FALSE(AddressFinder(text).Match(local));
    EXPECT_FALSE(AddressFinder(text).Match(domain + "d"));
    EXPECT_FALSE(AddressFinder(text).Match(std::string(1 << 20, ' ')));
    EXPECT_TRUE(AddressFinder(std::string(1 << 20, '@')).Match(std::string(1 << 20, '@')));

    const AddressFinder finder(text);
    EXPECT_FALSE(finder.Match(domain + std::string(1 << 20, ' ') + local));
    EXPECT_EQ(finder.GetRes(), local);
}

TEST(AddressFinder, TheFirstResultStaysUntilItIsCleared) {
    const AddressFinder finder("jdoe@corp.lan");
    EXPECT_FALSE(finder.Match("corp.lan first"));
    EXPECT_FALSE(finder.Match("jdoe@ second"));
    EXPECT_FALSE(finder.Match("jdoe@corp.lan")); // a plain match after a result
    EXPECT_EQ(finder.GetRes(), "first");
    EXPECT_EQ(finder.GetRes(), "first"); // reading it does not clear it
    EXPECT_EQ(finder.GetMatchedValue(), "corp.lan first");

    finder.ClearRes();
    EXPECT_EQ(finder.GetRes(), "");
    EXPECT_TRUE(finder.Match("jdoe@corp.lan"));
    EXPECT_FALSE(finder.Match("jdoe@ second")); // a result after a plain match
    EXPECT_EQ(finder.GetRes(), "second");
}

/// Returns the result of a search through a holder.
struct Found {
    bool matches;
    std::string res;
    std::string matched;

    bool operator==(const Found& other) const {
        return matches == other.matches && res == other.res && matched == other.matched;
    }
    friend std::ostream& operator<<(std::ostream& out, const Found& answer) {
        return out << (answer.matches ? "found" : "not found") << " [" << answer.res << "] ["
                   << answer.matched << "]";
    }
};

class AddressFinderInHolder : public testing::Test {
protected:
    AddressFinderInHolder() { RecordingLog::Reset(log4cxx::Level::LEVEL_ERROR); }

    Found Find(const std::string& list, const std::string& text) const {
        KwLookupHolder holder(m_log);
        holder.Init(list);
        EXPECT_TRUE(RecordingLog::GetLines().empty());
        const AddressFinder finder(text);
        Found found{};
        found.matches = holder.Find(finder, &found.res, 0, &found.matched);
        EXPECT_EQ(finder.GetRes(), "") << "each item clears the result that it took";
        return found;
    }

    std::string File(const std::string& lines) const {
        return "file:" + m_dir.Write("list" + std::to_string(m_files++), lines);
    }

    const LogClass m_log{"test"};
    const TempDir m_dir;
    mutable int m_files = 0;
};

TEST_F(AddressFinderInHolder, LiteralItems) {
    EXPECT_EQ(Find("corp.lan", "jdoe@corp.lan"), (Found{true, "", "corp.lan"}));
    EXPECT_EQ(Find("corp.lan OK", "jdoe@corp.lan"), (Found{true, " OK", ""}));
    EXPECT_EQ(Find("other.org OK", "jdoe@corp.lan"), (Found{false, "", ""}));
}

TEST_F(AddressFinderInHolder, TheFirstResultOfAFileWins) {
    const std::string file = File("other.org NO\njdoe@ first\ncorp.lan second\n");
    EXPECT_EQ(Find(file, "jdoe@corp.lan"), (Found{true, " first", ""}));
    EXPECT_EQ(Find(file, "root@corp.lan"), (Found{true, " second", ""}));
    EXPECT_EQ(Find(file, "root@else.org"), (Found{false, "", ""}));
}

TEST_F(AddressFinderInHolder, WithinAFileTheFirstOfResultAndPlainMatchWins) {
    EXPECT_EQ(Find(File("corp.lan OK\njdoe@corp.lan\n"), "jdoe@corp.lan"),
              (Found{true, " OK", ""}));
    EXPECT_EQ(Find(File("jdoe@corp.lan\ncorp.lan OK\n"), "jdoe@corp.lan"),
              (Found{true, "", "jdoe@corp.lan"}));
}

TEST_F(AddressFinderInHolder, TheResultsOfItemsAreGathered) {
    const std::string one = File("corp.lan one\njdoe@corp.lan\n");
    const std::string two = File("jdoe@ two\n");
    EXPECT_EQ(Find(one + "," + two, "jdoe@corp.lan"), (Found{true, " one two", ""}));
    EXPECT_EQ(Find(two + "," + one, "jdoe@corp.lan"), (Found{true, " two one", ""}));
    // A result of one item does not hide the plain match of the next one.
    EXPECT_EQ(Find(one + ",corp.lan," + two, "jdoe@corp.lan"),
              (Found{true, " one two", "corp.lan"}));
    EXPECT_EQ(Find("corp.lan a, @corp.lan, jdoe@ b, root@ c", "jdoe@corp.lan"),
              (Found{true, " a b", "@corp.lan"}));
}

TEST_F(AddressFinderInHolder, ARecordWithANumberSignIsNotAComment) {
    const std::string file = File("# my list\n#corp.lan\ncorp.lan\n");
    EXPECT_EQ(Find(file, "# my list"), (Found{true, "", "# my list"}));
    EXPECT_EQ(Find(file, "jdoe@corp.lan"), (Found{true, "", "corp.lan"}));
    EXPECT_EQ(Find(file, "#corp.lan"), (Found{true, "", "#corp.lan"}));
}

TEST_F(AddressFinderInHolder, OneFinderAnswersSearchAfterSearch) {
    KwLookupHolder holder(m_log);
    holder.Init(File("corp.lan OK\n"));
    const AddressFinder finder("jdoe@corp.lan");
    for (int search = 0; search < 3; ++search) {
        std::string res;
        EXPECT_TRUE(holder.Find(finder, &res, 0, nullptr));
        EXPECT_EQ(res, " OK");
    }
}

TEST_F(AddressFinderInHolder, AFileAfterAnExactSearchAnswersInItsSortedOrder) {
    KwLookupHolder holder(m_log);
    holder.Init(File("jdoe@ z\ncorp.lan a\n"));
    const AddressFinder finder("jdoe@corp.lan");
    std::string res;
    EXPECT_TRUE(holder.Find(finder, &res, 0, nullptr));
    EXPECT_EQ(res, " z");
    EXPECT_TRUE(holder.Find(AddressFinder("jdoe@ z"), nullptr, FIND_EXACT, nullptr));
    res.clear();
    EXPECT_TRUE(holder.Find(finder, &res, 0, nullptr));
    EXPECT_EQ(res, " a");
}

} // namespace
