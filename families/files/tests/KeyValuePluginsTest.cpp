// SPDX-License-Identifier: MIT
#include "families/files/tests/KeyValuePluginsTest.h"

#include "lookup/KwLookupFinder.h"

#include <sys/stat.h>
#include <unistd.h>

namespace {

using namespace std::string_literals;
using testing::AnyOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr auto LEVEL_ERROR = log4cxx::Level::LEVEL_ERROR;
constexpr auto LEVEL_DEBUG = log4cxx::Level::LEVEL_DEBUG;

TEST_P(KeyValuePluginsTest, Answers) {
    const std::string name = Make({
        {"jdoe@corp.lan", "OK"},
        {"JDoe@Corp.lan", "mixed"},
        {"corp.lan", "domain"},
        {".corp.lan", "dotted"},
        {"jdoe", "user"},
        {"jdoe at corp.lan", "both parts"},
        {"b@c", "behind the first"},
        {"$", "dollar"},
        {"multi", "a"},
        {"multi", ""},
        {"multi", "b c"},
        {"empty", ""},
        {"empties", ""},
        {"empties", ""},
        {"late", ""},
        {"late", "x"},
        {"ended\0"s, "with nul\0"s},
        {"ended\0"s, "without"},
        {"bare", "keeps its nul\0"s},
        {"twice", "plain"},
        {"twice\0"s, "ended\0"s},
        {"only nul\0"s, "\0"s},
        {"nuls\0"s, "\0\0"s},
        {"\xc3\x96", "umlaut"},
    });
    struct Case {
        std::string rest;
        std::string text;
        int flags;
        Answer answer;
    };
    const Case cases[] = {
        {"$s", "jdoe@corp.lan", 0, {true, " OK", "jdoe@corp.lan"}},
        {"$s", "jdoe@corp.la", 0, Miss()},
        {"$s", "jdoe@corp.lan ", 0, Miss()},
        {"$s", "", 0, Miss()},
        {"$s", "jdoe@corp.lan", FIND_EXACT | FIND_NOCASE, {true, " OK", "jdoe@corp.lan"}},
        // Brackets, domains, parts of addresses.
        {"$s", "<jdoe@corp.lan>", 0, Miss()},
        {"$s", "<jdoe@corp.lan>", FIND_STRIP_BRACKETS, {true, " OK", "jdoe@corp.lan"}},
        {"$u at $d",
         "<jdoe@corp.lan>",
         FIND_STRIP_BRACKETS,
         {true, " both parts", "jdoe at corp.lan"}},
        {"$u", "<jdoe@x>", FIND_STRIP_BRACKETS, {true, " user", "jdoe"}},
        {"$u", "jdoe", 0, {true, " user", "jdoe"}},
        {"$d", "<x@corp.lan>", FIND_STRIP_BRACKETS, {true, " domain", "corp.lan"}},
        {"$d", "x@CORP.LAN", 0, {true, " domain", "corp.lan"}},
        {".$d", "x@corp.lan", 0, {true, " dotted", ".corp.lan"}},
        {"$d", "corp.lan", FIND_DOMAIN, {true, " domain", "corp.lan"}},
        {"$s", "corp.lan", FIND_DOMAIN, {true, " domain", "corp.lan"}},
        {"$d", "a@b@c", 0, {true, " behind the first", "b@c"}},
        {"$$", "any", 0, {true, " dollar", "$"}},
        {"jdoe$", "any", 0, {true, " user", "jdoe"}},
        // Letter case.
        {"$s", "JDOE@Corp.LAN", 0, {true, " OK", "jdoe@corp.lan"}},
        {"LowerCase=no|$s", "JDOE@Corp.LAN", 0, Miss()},
        {"LowerCase=no|$s", "JDoe@Corp.lan", 0, {true, " mixed", "JDoe@Corp.lan"}},
        {"JDOE", "any", 0, {true, " user", "jdoe"}},
        {"$s", "\xc3\x96", 0, {true, " umlaut", "\xc3\x96"}},
        // Several values, and empty ones.
        {"$s", "multi", 0, {true, " a", "multi"}},
        {"AllValues=yes|$s", "multi", 0, {true, " a b c", "multi"}},
        {"AllValues=yes|$s", "multiple", 0, Miss()},
        {"AllValues=yes|$s", "jdoe", 0, {true, " user", "jdoe"}},
        {"$s", "empty", 0, {true, "", "empty"}},
        {"AllValues=yes|$s", "empties", 0, {true, "", "empties"}},
        {"$s", "late", 0, {true, "", "late"}},
        {"AllValues=yes|$s", "late", 0, {true, " x", "late"}},
        // Keys that end in a NUL.
        {"$s", "ended", 0, Miss()},
        {"TrailingNul=no|$s", "ended", 0, Miss()},
        {"$s", "ended\0"s, 0, {true, " with nul\0"s, "ended\0"s}},
        {"$s", "bare", 0, {true, " keeps its nul\0"s, "bare"}},
        {"TrailingNul=yes|$s", "ended", 0, {true, " with nul", "ended"}},
        {"TrailingNul=yes|AllValues=yes|$s", "ended", 0, {true, " with nul without", "ended"}},
        {"TrailingNul=yes|$s", "bare", 0, Miss()},
        {"TrailingNul=yes|$s", "twice", 0, {true, " ended", "twice"}},
        {"TrailingNul=yes|$s", "only nul", 0, {true, "", "only nul"}},
        {"TrailingNul=yes|$s", "nuls", 0, {true, " \0"s, "nuls"}},
        {"TrailingNul=Both|$s", "ended", 0, {true, " with nul", "ended"}},
        {"TrailingNul=both|$s", "bare", 0, {true, " keeps its nul\0"s, "bare"}},
        {"TrailingNul=both|$s", "twice", 0, {true, " plain", "twice"}},
        {"TrailingNul=both|AllValues=yes|$s", "twice", 0, {true, " plain ended", "twice"}},
        {"TrailingNul=both|AllValues=yes|$s", "ended", 0, {true, " with nul without", "ended"}},
        {"TrailingNul=both|$s", "none", 0, Miss()},
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(test.rest + " on " + test.text + " flags " + std::to_string(test.flags));
        ExpectAnswer(Strict(name, test.rest), test.text, test.flags, test.answer);
    }
    EXPECT_THAT(TakeErrors(), IsEmpty());
}

TEST_P(KeyValuePluginsTest, TheDescriptionIsTheTemplate) {
    KwLookupHolder holder(m_log);
    holder.Init(Item(Make({{"b", "1"}}), "$s"));
    EXPECT_EQ(holder.GetObjects()[0].GetDescription(), "$s");
    RecordingLog::Reset();
    EXPECT_TRUE(Ask(holder, "B").found);
    EXPECT_THAT(RecordingLog::Texts(LEVEL_DEBUG),
                Contains("KwLookupHolder::Find: found B matched with b (from $s)"));
}

TEST_P(KeyValuePluginsTest, ItemsInheritTheSettingsOfTheSection) {
    const std::string name = Make({{"MULTI\0"s, "a\0"s}, {"MULTI\0"s, "b"}, {"multi", "c"}});
    Configure("[lookup_" + GetType() + "]\nDatabase = " + name +
              "\nLowerCase = no\nAllValues = yes\nTrailingNul = yes\nOnError = exception\n");
    EXPECT_EQ(AskList(GetType() + ":$s", "MULTI").res, " a b");
    EXPECT_EQ(AskList(GetType() + ":AllValues=no|$s", "MULTI").res, " a");
    EXPECT_EQ(AskList(GetType() + ":LowerCase=yes|TrailingNul=no|$s", "MULTI").res, " c");
    EXPECT_NE(SearchError(GetType() + ":Database=" + m_dir.Path("none") + "|$s", "a"), "");
}

// The defaults on the manual page hold with a configuration and without one.
TEST_P(KeyValuePluginsTest, HasTheDocumentedDefaults) {
    const std::string name = Make({{"a", "1"}, {"a", "2"}, {"A", "3"}, {"n\0"s, "4"}});
    ASSERT_TRUE(AskList(Item(name), "a").found);
    for (const bool with_values : {true, false}) {
        if (!with_values)
            ConfigureNothing();
        EXPECT_EQ(AskList(Item(name), "A"), (Answer{true, " 1", "a"}));
        EXPECT_EQ(AskList(Item(name), "n"), Miss());
        EXPECT_EQ(AskList(Item(m_dir.Path("none")), "a"), Miss());
    }
}

TEST_P(KeyValuePluginsTest, ABadItemFailsWhenItIsLoaded) {
    struct Case {
        std::string item;
        std::string reason;
    };
    const std::string type = GetType() + ":";
    const std::string nul = "TrailingNul=maybe";
    const std::string nul_reason = "Wrong TrailingNul setting [maybe]: wait 'no', 'yes' or 'both'";
    const Case cases[] = {
        {type, "wrong empty data"},
        {type + "$s", "Database is not set"},
        {type + "Database=|$s", "Database is not set"},
        {type + "Database=/x|$x", "unrecognize expansion in '$x'"},
        {type + "Database=/x|" + nul + "|$s", nul_reason},
        {type + "Database=/x|Timeout=1|$s",
         "error during parse lookup_" + GetType() + "setting: 'Timeout=1'"},
        {type + "Database=/x|LowerCase=perhaps|$s",
         "error during parse lookup_" + GetType() + "setting: 'LowerCase=perhaps'"},
    };
    for (const Case& test : cases)
        EXPECT_EQ(ErrorOf(test.item), "  Error in init lookup [" + test.item + "]: " + test.reason);
    EXPECT_EQ(ErrorOf(type + "Database=/x|a\0b"s), "  Error in init lookup [" + type +
                                                       "Database=/x|a\\0b]: the template holds a "
                                                       "NUL byte");
    Configure("[lookup_" + GetType() + "]\nTrailingNul = maybe\n");
    EXPECT_THAT(RecordingLog::Texts(LEVEL_ERROR), Contains(HasSubstr(nul_reason)));
}

TEST_P(KeyValuePluginsTest, AFailedSearchIsLoggedOrThrown) {
    const std::string name = m_dir.Path("none");
    const std::string reason = name + ": No such file or directory";
    EXPECT_EQ(SearchError(Strict(name), "a"), reason);

    KwLookupHolder holder(m_log);
    holder.Init(Item(name) + ", a");
    for (int i = 0; i < 2; ++i) {
        RecordingLog::Reset();
        EXPECT_EQ(Ask(holder, "a"), (Answer{true, "", "a"}));
        EXPECT_THAT(RecordingLog::Texts(LEVEL_ERROR),
                    ElementsAre("lookup_" + GetType() + ": " + reason));
    }
    // A file that appears is found at once.
    Make({{"b", "1"}}, "none");
    EXPECT_EQ(Ask(holder, "b").res, " 1");
}

TEST_P(KeyValuePluginsTest, SkipsDomains) {
    const std::string name = Make({{"jdoe@corp.lan", "1"}, {"jdoe@mail.corp.lan", "2"}});
    Configure("[lookup_" + GetType() + "]\nSkipDomains = Corp.lan\n");
    EXPECT_EQ(AskList(Item(name), "jdoe@corp.lan"), Miss());
    EXPECT_EQ(AskList(Item(name), "jdoe@mail.corp.lan").res, " 2");
    EXPECT_EQ(AskList(Item(name, "SkipDomains=|$s"), "jdoe@corp.lan").res, " 1");
    // The file is not opened.
    EXPECT_EQ(AskList(Strict(m_dir.Path("none")), "jdoe@corp.lan"), Miss());
}

TEST_P(KeyValuePluginsTest, ATextWithoutThePartsOfTheTemplateIsNotSearched) {
    struct Case {
        std::string key;
        std::string text;
        int flags;
    };
    const Case cases[] = {
        {"$d", "jdoe", 0},
        {"$d", "", 0},
        {"$d", "jdoe@", 0},
        {"$d", "<jdoe@>", FIND_STRIP_BRACKETS},
        {"$d", "", FIND_DOMAIN},
        {"x$d", "jdoe", 0},
        {"$u", "@corp.lan", 0},
        {"$u", "<@corp.lan>", FIND_STRIP_BRACKETS},
        {"$u", "", 0},
        {"$u", "corp.lan", FIND_DOMAIN},
        {"$u@$d", "corp.lan", FIND_DOMAIN},
        {"$s$u", "@corp.lan", 0},
    };
    const std::string name = m_dir.Path("none");
    for (const Case& test : cases) {
        SCOPED_TRACE(test.key + " on " + test.text);
        EXPECT_EQ(AskList(Strict(name, test.key), test.text, test.flags), Miss());
    }
    EXPECT_NE(SearchError(Strict(name, "$d"), "jdoe@corp.lan"), "");
    EXPECT_NE(SearchError(Strict(name, "$d"), "corp.lan", FIND_DOMAIN), "");
    EXPECT_NE(SearchError(Strict(name, "$u"), "jdoe@"), "");
    EXPECT_NE(SearchError(Strict(name, "$s"), ""), "");
}

TEST_P(KeyValuePluginsTest, HostileTextsAreOrdinaryKeys) {
    Records records;
    for (const std::string& text : HostileTexts())
        records.emplace_back(text, std::to_string(records.size()));
    KwLookupHolder holder(m_log);
    holder.Init(Strict(Make(records), "LowerCase=no|$s"));
    for (const auto& [text, value] : records) {
        SCOPED_TRACE(text.substr(0, 50));
        EXPECT_EQ(Ask(holder, text), (Answer{true, " " + value, text}));
        EXPECT_EQ(Ask(holder, text + "'"), Miss());
        EXPECT_EQ(Ask(holder, "'" + text), Miss());
    }
}

TEST_P(KeyValuePluginsTest, AnInvalidFileIsAnError) {
    const std::string table = Make({{"a", "1"}});
    const std::string pipe = m_dir.Path("pipe");
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    ASSERT_EQ(::symlink("none", m_dir.Path("dangling").c_str()), 0);
    const std::string foreign = m_dir.Path("foreign");
    MakeKeyValueFile(GetType() == "cdb" ? "hash" : "cdb", foreign, {{"a", "1"}});
    const std::string sqlite = m_dir.Path("sqlite");
    RunSql(sqlite, "create table access (address, result);");
    struct Case {
        std::string name;
        std::string reason;
    };
    const Case cases[] = {
        {m_dir.Path(""), "not a regular file"},
        {pipe, "not a regular file"},
        {m_dir.Path("dangling"), "No such file or directory"},
        {table + "/x", "Not a directory"},
        {std::string(5000, 'x'), "File name too long"},
        {m_dir.Write("empty", ""), InvalidFile()},
        {m_dir.Write("byte", "x"), InvalidFile()},
        {m_dir.Write("text", "jdoe@corp.lan OK\n"), InvalidFile()},
        {m_dir.Write("long", std::string(10000, 'x')), InvalidFile()},
        {m_dir.Write("zeros", std::string(10000, '\0')), InvalidFile()},
        {m_dir.Write("ones", std::string(10000, '\xff')), InvalidFile()},
        {foreign, InvalidFile()},
        {sqlite, InvalidFile()},
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(test.name);
        EXPECT_EQ(SearchError(Strict(test.name), "a"), test.name + ": " + test.reason);
    }
    ASSERT_EQ(::chmod(table.c_str(), 0), 0);
    EXPECT_EQ(SearchError(Strict(table), "a"),
              ::geteuid() == 0 ? "" : table + ": Permission denied");
}

TEST_P(KeyValuePluginsTest, AnEmptyTableHasNoRecords) {
    EXPECT_EQ(AskList(Strict(Make({})), "a"), Miss());
}

TEST_P(KeyValuePluginsTest, EveryTruncationIsAnErrorOrTheRightAnswer) {
    Records records;
    for (int i = 0; i < 30; ++i)
        records.emplace_back("key" + std::to_string(i), "value" + std::to_string(i));
    for (int i = 0; i < 60; ++i)
        records.emplace_back("many", std::to_string(i));
    records.emplace_back("large", std::string(1500, 'v'));
    records.emplace_back("bay", "in the last table of a cdb file");
    const std::string name = Make(records);
    const std::string large = " " + std::string(1500, 'v');
    const auto whole = std::filesystem::file_size(name);
    ASSERT_LT(whole, 10000u);

    for (auto size = whole + 1; size-- > 0;) {
        SCOPED_TRACE(std::to_string(size) + " of " + std::to_string(whole) + " bytes");
        std::filesystem::resize_file(name, size);
        KwLookupHolder holder(m_log);
        holder.Init(Strict(name, "AllValues=yes|$s"));
        int errors = 0;
        const auto ask = [&](const std::string& text) -> Answer {
            try {
                return Ask(holder, text);
            } catch (const std::runtime_error& error) {
                EXPECT_EQ(error.what(), name + ": " + InvalidFile());
                ++errors;
                return {true, "error", ""};
            }
        };
        for (const char* i : {"0", "7", "12", "29"})
            EXPECT_THAT(ask("key"s + i).res, AnyOf("error", " value"s + i));
        EXPECT_THAT(ask("many").res, AnyOf("error", testing::EndsWith(" 57 58 59")));
        EXPECT_THAT(ask("large").res, AnyOf("error", large));
        ask("none");
        EXPECT_EQ(errors, size == whole ? 0 : 7);
    }
}

TEST_P(KeyValuePluginsTest, AReplacedFileIsNoticed) {
    const std::string name = Make({{"a", "old"}});
    KwLookupHolder holder(m_log);
    holder.Init(Strict(name));
    EXPECT_EQ(Ask(holder, "a").res, " old");
    Rename(Make({{"a", "new"}}, "next"), name);
    EXPECT_TRUE(Eventually([&] { return Ask(holder, "a").res == " new"; }));

    Rename(name, name + ".away");
    EXPECT_TRUE(Eventually([&] { return SearchError(holder, "a") != ""; }));
    // Now each search fails, not only those that check for a new file.
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(SearchError(holder, "a"), name + ": No such file or directory");
    Rename(name + ".away", name);
    EXPECT_EQ(Ask(holder, "a").res, " new");

    Rename(m_dir.Write("garbage", "garbage"), name);
    EXPECT_TRUE(Eventually([&] { return SearchError(holder, "a") != ""; }));
    EXPECT_EQ(SearchError(holder, "a"), name + ": " + InvalidFile());
    Rename(Make({{"a", "newest"}}, "next"), name);
    EXPECT_EQ(Ask(holder, "a").res, " newest");
}

TEST_P(KeyValuePluginsTest, AChangedLinkIsNoticed) {
    const std::string name = m_dir.Path("current");
    ASSERT_EQ(::symlink(Make({{"a", "one"}}, "one").c_str(), name.c_str()), 0);
    KwLookupHolder holder(m_log);
    holder.Init(Strict(name));
    EXPECT_EQ(Ask(holder, "a").res, " one");
    ASSERT_EQ(::symlink(Make({{"a", "two"}}, "two").c_str(), (name + ".new").c_str()), 0);
    Rename(name + ".new", name);
    EXPECT_TRUE(Eventually([&] { return Ask(holder, "a").res == " two"; }));
}

TEST_P(KeyValuePluginsTest, AWriteInPlaceIsNoticed) {
    const std::string name = Make({{"a", "old"}});
    KwLookupHolder holder(m_log);
    holder.Init(Strict(name));
    EXPECT_EQ(Ask(holder, "a").res, " old");
    Records records{{"a", "new"}};
    for (int i = 0; i < 500; ++i)
        records.emplace_back(std::to_string(i), "more");
    m_dir.Write("table", ReadAll(Make(records, "next")));
    // Within the same second the old database, whose pages are gone, would be searched.
    std::this_thread::sleep_for(std::chrono::milliseconds(1100));
    EXPECT_EQ(Ask(holder, "a").res, " new");
}

TEST_P(KeyValuePluginsTest, LeavesNoFileOpen) {
    const std::string name = Make({{"a", "1"}});
    const std::string bad = m_dir.Write("bad", std::string(5000, 'x'));
    EXPECT_TRUE(AskList(Strict(name), "a").found);
    const auto before = OpenFiles();
    for (int i = 0; i < 5; ++i) {
        EXPECT_TRUE(AskList(Strict(name), "a").found);
        EXPECT_NE(SearchError(Strict(bad), "a"), "");
    }
    EXPECT_EQ(OpenFiles(), before);
}

} // namespace
