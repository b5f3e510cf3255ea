// SPDX-License-Identifier: MIT
#include "support/PluginSupport.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

constexpr auto LEVEL_ERROR = log4cxx::Level::LEVEL_ERROR;
constexpr auto LEVEL_DEBUG = log4cxx::Level::LEVEL_DEBUG;

class RfilePluginTest : public PluginTest {
protected:
    /// A list of one file with these lines.
    std::string List(const std::string& lines) { return "rfile:" + m_dir.Write("patterns", lines); }

    Answer AskLines(const std::string& lines, const std::string& text, int flags = 0) {
        return AskList(List(lines), text, flags);
    }

    Answer Found(const std::string& res, int line, const std::string& pattern) {
        return {true, res, m_file + ":" + std::to_string(line) + ": " + pattern};
    }

    const std::string m_file = m_dir.Path("patterns");
};

TEST_F(RfilePluginTest, TheFirstMatchInFileOrderWins) {
    const std::string lines = "# a comment\n"
                              "\n"
                              "  ^bounce-.*@  \r\n"
                              "\t# another\n"
                              "/^(\\w+)@Spam\\.(com|org)$/ REJECT $1 of $0 $$\n"
                              "/^news/c DISCARD\n"
                              "/a\\/b/\n"
                              "news  \n"
                              "/./";
    EXPECT_EQ(AskLines(lines, "Bounce-1@x"), Found("", 3, "^bounce-.*@"));
    EXPECT_EQ(AskLines(lines, "joe@spam.ORG"),
              Found(" REJECT joe of joe@spam.ORG $", 5, "^(\\w+)@Spam\\.(com|org)$"));
    EXPECT_EQ(AskLines(lines, "newsletter"), Found(" DISCARD", 6, "^news"));
    EXPECT_EQ(AskLines(lines, "Newsletter"), Found("", 8, "news"));
    EXPECT_EQ(AskLines(lines, "xA/by"), Found("", 7, "a\\/b"));
    EXPECT_EQ(AskLines(lines, "# a comment"), Found("", 9, "."));
    EXPECT_EQ(AskLines(lines, ""), Miss());
    EXPECT_THAT(TakeErrors(), IsEmpty());
}

TEST_F(RfilePluginTest, AByteOrderMarkIsNotPartOfTheFirstPattern) {
    const std::string file = m_dir.Write("patterns", "\xef\xbb\xbf^a\n\xef\xbb\xbf^b\n");
    EXPECT_TRUE(AskList("rfile:" + file, "a").found);
    EXPECT_FALSE(AskList("rfile:" + file, "b").found);
}

TEST_F(RfilePluginTest, Flags) {
    struct Case {
        std::string line;
        std::string text;
        bool found;
    };
    const Case cases[] = {
        {"/abc/", "ABC", true},
        {"/abc/c", "ABC", false},
        {"/abc/ci", "ABC", true},
        {"/abc/ic", "ABC", false},
        {"/^b/", "a\nb", false},
        {"/^b/m", "a\nb", true},
        {"/a.b/", "a\nb", false},
        {"/a.b/s", "a\nb", true},
        {"/a b c/", "abc", false},
        {"/a b c/x", "abc", true},
        {"/a b c # d/x yes", "abc", true},
        {"/a b/xc", "AB", false},
        {"/\\/\\//", "//", true},
        {"\\/x", "/x", true},
        {"\\#x", "#x", true},
        {"/#x/", "#x", true},
        {"/ x /", " x ", true},
        {"/ x /", "x", false},
        {"//", "anything", true},
        {"a/b/c", "a/b/c", true},
    };
    for (const Case& test : cases)
        EXPECT_EQ(AskLines(test.line + "\n", test.text).found, test.found)
            << test.line << " on " << test.text;
    EXPECT_THAT(TakeErrors(), IsEmpty());
}

TEST_F(RfilePluginTest, OneBadLineFailsTheLoad) {
    struct Case {
        std::string line;
        std::string reason;
    };
    const Case cases[] = {
        {"ab(c", "missing closing parenthesis at offset 4"},
        {"/ab[c/i x", "missing terminating ] for character class at offset 4"},
        {"/abc", "no slash ends the pattern"},
        {"/abc\\/", "no slash ends the pattern"},
        {"/abc\\", "no slash ends the pattern"},
        {"/", "no slash ends the pattern"},
        {"/abc/ig", "unknown flag 'g'"},
        {"/abc/REJECT", "unknown flag 'R'"},
        {"/abc/ $1", "result '$1': the pattern has no group 1"},
        {"/abc/ a$", "result 'a$': '$' at offset 1 is not followed by a digit or '$'"},
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(test.line);
        const std::string list = List("# one\ngood\n" + test.line + "\nalso good\n(\n");
        EXPECT_EQ(ErrorOf(list),
                  "  Error in init lookup [" + list + "]: " + m_file + ":3: " + test.reason);
    }
}

TEST_F(RfilePluginTest, FilesThatCannotBeRead) {
    const auto error = [](const std::string& name, const std::string& reason) {
        return "  Error in init lookup [rfile:" + name + "]: Can not load file '" + name +
               "': " + reason;
    };
    const std::string name = m_dir.Path("absent");
    EXPECT_EQ(ErrorOf("rfile:" + name), error(name, "No such file or directory"));
    EXPECT_EQ(ErrorOf("rfile:" + m_dir.Path(".")), error(m_dir.Path("."), "Is a directory"));
    EXPECT_THAT(ErrorOf(std::string("rfile:/dev/null\0x", 16)),
                StartsWith("  Error in init lookup [rfile:/dev/null"));
    EXPECT_EQ(AskList("rfile:/dev/null", "x"), Miss());
    // Opens, but cannot be read.
    EXPECT_EQ(ErrorOf("rfile:/proc/self/mem"), error("/proc/self/mem", "Input/output error"));
}

TEST_F(RfilePluginTest, AFailedInitKeepsTheOldPatterns) {
    KwLookupHolder holder(m_log);
    holder.Init(List("/old/ old result\n"));
    KwIfLookup& lookup = const_cast<KwIfLookup&>(holder.GetObjects()[0]);
    const std::string bad = m_dir.Write("bad", "new\n(\n");
    EXPECT_THROW(lookup.Init(bad), std::invalid_argument);
    EXPECT_THROW(lookup.Init("OnError=exception|" + bad), std::invalid_argument);
    EXPECT_EQ(Ask(holder, "old"), Found(" old result", 1, "old"));
    EXPECT_EQ(holder.GetObjects()[0].GetDescription(), m_file);
    EXPECT_FALSE(Ask(holder, std::string(1000, 'x')).found);
    lookup.Init(m_dir.Write("good", "new\n"));
    EXPECT_FALSE(Ask(holder, "old").found);
    EXPECT_TRUE(Ask(holder, "new").found);
}

TEST_F(RfilePluginTest, LogsWhatItLoadedAndWhatMatched) {
    KwLookupHolder holder(m_log);
    const std::string list = List("^jdoe@\n^[0-9]\n");
    RecordingLog::Reset();
    holder.Init(list);
    EXPECT_THAT(RecordingLog::Texts(LEVEL_DEBUG),
                Contains("lookup_rfile: loaded 2 patterns from " + m_file +
                         ", 1 of them to be tried on every text"));
    RecordingLog::Reset();
    EXPECT_TRUE(holder.Find(TextFinder("7"), nullptr, FIND_EXACT, nullptr));
    EXPECT_THAT(RecordingLog::Texts(LEVEL_DEBUG),
                ElementsAre("KwLookupHolder::Find: found 7 matched with " + m_file +
                            ":2: ^[0-9] (from " + m_file + ")"));
}

TEST_F(RfilePluginTest, HonoursParameters) {
    Configure("[lookup_rfile]\nCaseSensitive = yes\nOnError = exception\nMaxLength = 41\n"
              "SkipDomains = corp.lan\n");
    const std::string list = List("abc\n/def/i\n^(a+)+$\n");
    EXPECT_FALSE(AskList(list, "ABC").found);
    EXPECT_TRUE(AskList(list, "DEF").found);
    EXPECT_FALSE(AskList(list, "abc@corp.lan").found);
    EXPECT_TRUE(AskList("rfile:CaseSensitive=no|" + m_file, "ABC").found);
    EXPECT_TRUE(AskList("rfile:SkipDomains=|" + m_file, "abc@corp.lan").found);
    const auto reason = [&](const std::string& asked, const std::string& text) -> std::string {
        try {
            AskList(asked, text);
        } catch (const std::runtime_error& error) {
            return error.what();
        }
        return "nothing was thrown";
    };
    const std::string evil = std::string(40, 'a') + "b";
    EXPECT_EQ(reason(list, evil), m_file + ":3: pattern '^(a+)+$': match limit exceeded; "
                                           "MatchLimit is 10000");
    EXPECT_EQ(reason(list, evil + "c"), m_file + ": the text has 42 bytes; MaxLength is 41");
    RecordingLog::Reset();
    EXPECT_EQ(reason("rfile:OnError=ignore|" + m_file, evil), "nothing was thrown");
    EXPECT_THAT(RecordingLog::Texts(LEVEL_ERROR),
                ElementsAre("lookup_rfile: " + m_file +
                            ":3: pattern '^(a+)+$': match limit exceeded; MatchLimit is 10000"));
    EXPECT_TRUE(AskList(list, "<def>", FIND_STRIP_BRACKETS).found);
    EXPECT_FALSE(AskList(List("^def$\n"), "<def>").found);
    EXPECT_TRUE(AskList(List("^def$\n"), "<def>", FIND_STRIP_BRACKETS).found);
}

TEST_F(RfilePluginTest, AReloadReadsTheFileAgain) {
    KwLookupHolder holder(m_log);
    holder.Init(List("old\n"));
    List("new\n");
    EXPECT_TRUE(Ask(holder, "old").found);
    Configure("");
    holder.Init("rfile:" + m_file);
    EXPECT_FALSE(Ask(holder, "old").found);
    EXPECT_TRUE(Ask(holder, "new").found);
}

TEST_F(RfilePluginTest, AnyBytesAndLongLines) {
    using namespace std::string_literals;
    const std::string word(20000, 'w');
    Configure("[lookup_rfile]\nMaxLength = 1m\n");
    EXPECT_TRUE(AskLines("\xff\xfe\n" + word + "\n", word).found);
    EXPECT_TRUE(AskLines("\xff\xfe\n", "\xff\xfe").found);
    EXPECT_TRUE(AskLines("a\0b\n"s, "a\0b"s).found);
    EXPECT_FALSE(AskLines("a\0b\n"s, "a").found);
}

} // namespace
