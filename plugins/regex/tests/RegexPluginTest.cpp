// SPDX-License-Identifier: MIT
#include "support/PluginSupport.h"

#include "lookup/KwLookupFinder.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr auto LEVEL_ERROR = log4cxx::Level::LEVEL_ERROR;
constexpr auto LEVEL_DEBUG = log4cxx::Level::LEVEL_DEBUG;

const char EVIL[] = "^(a+)+$";
const std::string EVIL_TEXT = std::string(40, 'a') + "b";
const std::string EVIL_REASON = "pattern '^(a+)+$': match limit exceeded; MatchLimit is 10000";

class RegexPluginTest : public PluginTest {};

TEST_F(RegexPluginTest, MatchesAndNamesItsPattern) {
    EXPECT_EQ(AskList("regex:^bounce-.*@", "Bounce-7@corp.lan"), (Answer{true, "", "^bounce-.*@"}));
    EXPECT_EQ(AskList("regex:^bounce-.*@", "jdoe@corp.lan"), Miss());
    EXPECT_EQ(AskList("REGEX:x, regex:y$", "xy"), (Answer{true, "", "y$"}));
    EXPECT_THAT(TakeErrors(), IsEmpty());
}

TEST_F(RegexPluginTest, IsNamedInTheDebugMessage) {
    KwLookupHolder holder(m_log);
    holder.Init("regex:^b");
    EXPECT_EQ(holder.GetObjects()[0].GetDescription(), "^b");
    RecordingLog::Reset();
    EXPECT_TRUE(holder.Find(TextFinder("b@c"), nullptr, FIND_EXACT, nullptr));
    EXPECT_THAT(RecordingLog::Texts(LEVEL_DEBUG),
                ElementsAre("KwLookupHolder::Find: found b@c matched with ^b (from ^b)"));
}

/// A pattern is split twice: at the commas of the list, and at the bars of the settings.
TEST_F(RegexPluginTest, PatternsAreQuotedTwice) {
    struct Case {
        std::string list;
        std::string pattern;
    };
    const Case cases[] = {
        {R"(regex:^a\.b$)", R"(^a\.b$)"},
        {R"(regex:^(a\|b)$)", R"(^(a|b)$)"},
        {R"("regex:^(a\|b){1,3}$")", R"(^(a|b){1,3}$)"},
        {R"(regex:"^(a|b){1,3}$")", R"(^(a|b){1,3}$)"},
        {R"(regex:^a{1\,3}$)", R"(^a{1,3}$)"},
        {R"(regex:^\\\\\\\\$)", R"(^\\$)"},
        {R"(regex:OnError=exception|"^a|b,c$")", R"(^a|b,c$)"},
        {R"(regex:" a ")", "a"},
        {R"(regex:"[ ]a ")", "[ ]a"},
        {R"(regex:Result="x, y"|^a)", "^a"},
        {R"(regex:"Result=x|y"|^a)", "^a"},
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(test.list);
        KwLookupHolder holder(m_log);
        holder.Init(test.list);
        EXPECT_THAT(TakeErrors(), IsEmpty());
        ASSERT_EQ(holder.GetObjects().size(), 1u);
        EXPECT_EQ(holder.GetObjects()[0].GetDescription(), test.pattern);
    }
}

TEST_F(RegexPluginTest, ADollarOfThePatternIsAnAnchor) {
    EXPECT_TRUE(AskList("regex:$s$", "x").found == false);
    EXPECT_TRUE(AskList("regex:^x$", "x").found);
    EXPECT_THAT(TakeErrors(), IsEmpty());
}

TEST_F(RegexPluginTest, GivesAResult) {
    EXPECT_EQ(AskList("regex:Result=<$2 at $1> $$ $0|^(.*)@(.*)$", "jdoe@corp.lan"),
              (Answer{true, " <corp.lan at jdoe> $ jdoe@corp.lan", "^(.*)@(.*)$"}));
    Configure("[lookup_regex]\nResult = \"all of $0\"\n");
    EXPECT_EQ(AskList("regex:b+", "abbc").res, " all of bb");
    EXPECT_EQ(AskList("regex:Result=|b+", "abbc"), (Answer{true, "", "b+"}));
}

TEST_F(RegexPluginTest, AnswersWithoutAResultString) {
    KwLookupHolder holder(m_log);
    holder.Init("regex:Result=$0|b");
    EXPECT_TRUE(holder.GetObjects()[0].Find(TextFinder("abc"), nullptr, FIND_EXACT, nullptr));
}

TEST_F(RegexPluginTest, HonoursTheFlags) {
    struct Case {
        std::string pattern;
        std::string text;
        int flags;
        bool found;
    };
    const Case cases[] = {
        {"^a@b$", "<a@b>", 0, false},
        {"^a@b$", "<a@b>", FIND_STRIP_BRACKETS, true},
        {"^a@b$", "<a@b", FIND_STRIP_BRACKETS, true},
        {"^a@b$", "a@b>", FIND_STRIP_BRACKETS, true},
        {"^<a@b>$", "<<a@b>>", FIND_STRIP_BRACKETS, true},
        {"^$", "<>", FIND_STRIP_BRACKETS, true},
        {"^$", "<", FIND_STRIP_BRACKETS, true},
        {"^$", "", FIND_STRIP_BRACKETS, true},
        {"^A", "a", FIND_EXACT, true},
        {"^A", "a", FIND_EXACT | FIND_NOCASE, true},
    };
    for (const Case& test : cases)
        EXPECT_EQ(AskList("regex:" + test.pattern, test.text, test.flags).found, test.found)
            << test.pattern << " on " << test.text << " flags " << test.flags;
}

TEST_F(RegexPluginTest, LetterCaseCountsOnRequest) {
    EXPECT_TRUE(AskList("regex:ABC", "abc").found);
    EXPECT_FALSE(AskList("regex:CaseSensitive=yes|ABC", "abc").found);
    Configure("[lookup_regex]\nCaseSensitive = yes\n");
    EXPECT_FALSE(AskList("regex:ABC", "abc").found);
    EXPECT_TRUE(AskList("regex:casesensitive = no|ABC", "abc").found);
}

TEST_F(RegexPluginTest, ABadPatternFailsItsItemOnly) {
    EXPECT_EQ(ErrorOf("regex:ab(c"),
              "  Error in init lookup [regex:ab(c]: missing closing parenthesis at offset 4");
    EXPECT_EQ(ErrorOf("regex:"), "  Error in init lookup [regex:]: wrong empty data");
    EXPECT_EQ(ErrorOf("regex:Result=$1|abc"), "  Error in init lookup [regex:Result=$1|abc]: "
                                              "result '$1': the pattern has no group 1");
    EXPECT_EQ(ErrorOf("regex:Unknown=1|abc"), "  Error in init lookup [regex:Unknown=1|abc]: "
                                              "error during parse lookup_regexsetting: "
                                              "'Unknown=1'");
    EXPECT_TRUE(AskList("regex:(, regex:b", "abc").found);
}

TEST_F(RegexPluginTest, ANumberThatDoesNotFitFailsTheItem) {
    const std::pair<std::string, std::string> cases[] = {
        {"MaxLength=18014398509481989k", "MaxLength must be from 1 to 2147483647"},
        {"maxlength = 9223372036854775808 ", "MaxLength must be from 1 to 2147483647"},
        {"HeapLimit=8589934592g", "HeapLimit must be from 32768 to 1073741824"},
        {"MatchLimit=0xffffffff1", "MatchLimit must be from -2147483648 to 2147483647"},
        {"OnError=ignore|DepthLimit=2147483648|MaxLength=9",
         "DepthLimit must be from -2147483648 to 2147483647"},
    };
    for (const auto& [settings, reason] : cases) {
        const std::string item = "regex:" + settings + "|a";
        EXPECT_EQ(ErrorOf(item), "  Error in init lookup [" + item + "]: " + reason);
    }
}

TEST_F(RegexPluginTest, ValuesAreChecked) {
    struct Case {
        std::string setting;
        std::string reason;
    };
    const Case cases[] = {
        {"MatchLimit=0", "MatchLimit must be from 1 to 2147483647"},
        {"DepthLimit=-1", "DepthLimit must be from 1 to 2147483647"},
        {"HeapLimit=31k", "HeapLimit must be from 32768 to 1073741824"},
        {"HeapLimit=2g", "HeapLimit must be from 32768 to 1073741824"},
        {"SearchTime=0", "SearchTime must be from 1 to 2147483647"},
        {"MaxLength=0", "MaxLength must be from 1 to 2147483647"},
        {"OnError=never", "Wrong OnError setting [never]: wait 'ignore' or 'exception'"},
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(test.setting);
        const std::string item = "regex:" + test.setting + "|a";
        EXPECT_EQ(ErrorOf(item), "  Error in init lookup [" + item + "]: " + test.reason);

        ASSERT_TRUE(AskList("regex:a", "a").found);
        Configure("[lookup_regex]\n" + test.setting + "\n");
        EXPECT_THAT(RecordingLog::Texts(LEVEL_ERROR),
                    Contains(HasSubstr("kwlookup.conf:2: [lookup_regex]: " + test.reason)));
        Configure("");
    }
}

TEST_F(RegexPluginTest, ExtremeValuesAreAllowed) {
    for (const std::string setting :
         {"MatchLimit=1", "MatchLimit=2147483647", "DepthLimit=1", "DepthLimit=2147483647",
          "HeapLimit=32k", "HeapLimit=1g", "MaxLength=1", "MaxLength=2147483647", "SearchTime=1",
          "SearchTime=2147483647"}) {
        SCOPED_TRACE(setting);
        EXPECT_TRUE(AskList("regex:" + setting + "|a", "a").found);
        EXPECT_THAT(TakeErrors(), IsEmpty());
        Configure("[lookup_regex]\n" + setting + "\n");
        EXPECT_THAT(RecordingLog::Texts(LEVEL_ERROR), IsEmpty());
        EXPECT_TRUE(AskList("regex:a", "a").found);
    }
}

// The defaults on the manual page hold with a configuration and without one.
TEST_F(RegexPluginTest, HasTheDocumentedDefaults) {
    ASSERT_TRUE(AskList("regex:a", "a").found);
    for (const bool with_values : {true, false}) {
        if (!with_values)
            ConfigureNothing();
        const std::string fails = "regex:OnError=exception|";
        EXPECT_TRUE(AskList("regex:ABC", "abc").found);
        EXPECT_FALSE(AskList(std::string("regex:") + EVIL, EVIL_TEXT).found) << "ignored";
        EXPECT_EQ(SearchErrorOf(fails + EVIL, EVIL_TEXT), EVIL_REASON);
        EXPECT_EQ(SearchErrorOf(fails + "b", std::string(513, 'a')),
                  "pattern 'b': the text has 513 bytes; MaxLength is 512");
        EXPECT_EQ(AskList("regex:a", "a").res, "");
    }
}

TEST_F(RegexPluginTest, ALimitIsAMissAndALoggedErrorUnderIgnore) {
    KwLookupHolder holder(m_log);
    holder.Init(std::string("regex:") + EVIL + ", regex:b$");
    RecordingLog::Reset();
    EXPECT_EQ(Ask(holder, EVIL_TEXT), (Answer{true, "", "b$"}));
    EXPECT_THAT(RecordingLog::Texts(LEVEL_ERROR), ElementsAre("lookup_regex: " + EVIL_REASON));

    RecordingLog::Silence();
    EXPECT_TRUE(Ask(holder, EVIL_TEXT).found);
    EXPECT_THAT(RecordingLog::GetLines(), IsEmpty());
}

TEST_F(RegexPluginTest, ALimitIsAnExceptionUnderException) {
    const auto reason = [&](const std::string& list, const std::string& text) -> std::string {
        try {
            AskList(list, text);
        } catch (const std::runtime_error& error) {
            return error.what();
        }
        return "nothing was thrown";
    };
    Configure("[lookup_regex]\nOnError = Exception\nMaxLength = 2k\n");
    EXPECT_EQ(reason(std::string("regex:") + EVIL, EVIL_TEXT), EVIL_REASON);
    EXPECT_EQ(reason(std::string("regex:MatchLimit=77|") + EVIL, EVIL_TEXT),
              "pattern '^(a+)+$': match limit exceeded; MatchLimit is 77");
    EXPECT_EQ(reason("regex:b", std::string(2049, 'b')),
              "pattern 'b': the text has 2049 bytes; MaxLength is 2048");
    EXPECT_EQ(reason("regex:b", std::string(2048, 'b')), "nothing was thrown");
    EXPECT_EQ(reason("regex:MaxLength=3|b", "bbbb"),
              "pattern 'b': the text has 4 bytes; MaxLength is 3");
    // Stripped brackets do not count.
    EXPECT_TRUE(AskList("regex:MaxLength=3|b", "<bbb>", FIND_STRIP_BRACKETS).found);
    // The setting of an item takes precedence.
    EXPECT_EQ(reason(std::string("regex:OnError=ignore|") + EVIL, EVIL_TEXT), "nothing was thrown");
}

TEST_F(RegexPluginTest, SkipsDomains) {
    Configure("[lookup_regex]\nSkipDomains = value:corp.lan, Other.Lan\n");
    KwLookupHolder holder(m_log);
    holder.Init("regex:.");
    RecordingLog::Reset();
    EXPECT_EQ(Ask(holder, "jdoe@Corp.lan"), Miss());
    EXPECT_THAT(RecordingLog::Texts(LEVEL_DEBUG),
                Contains("Skipping lookup of jdoe@Corp.lan due to SkipDomains"));
    EXPECT_EQ(Ask(holder, "<jdoe@other.lan>"), Miss());
    EXPECT_EQ(Ask(holder, "other.lan", FIND_DOMAIN), Miss());
    EXPECT_TRUE(Ask(holder, "jdoe@mail.corp.lan").found);

    EXPECT_TRUE(AskList(R"(regex:SkipDomains=|.)", "jdoe@corp.lan").found);
    EXPECT_FALSE(AskList(R"(regex:"SkipDomains=x.lan, y.lan"|.)", "jdoe@y.lan").found);
    EXPECT_TRUE(AskList(R"(regex:SkipDomains=x.lan|.)", "jdoe@corp.lan").found);
}

TEST_F(RegexPluginTest, KeepsTheConfigurationItWasMadeWith) {
    Configure("[lookup_regex]\nResult = old\nSkipDomains = skipped.lan\n");
    KwLookupHolder plain(m_log), local(m_log);
    plain.Init("regex:a");
    local.Init("regex:CaseSensitive=yes|a");
    Configure("[lookup_regex]\nResult = new\n");
    for (const KwLookupHolder* holder : {&plain, &local}) {
        EXPECT_EQ(Ask(*holder, "a").res, " old");
        EXPECT_FALSE(Ask(*holder, "a@skipped.lan").found);
    }
    EXPECT_EQ(AskList("regex:a", "a@skipped.lan").res, " new");
}

TEST_F(RegexPluginTest, AFailedReloadKeepsTheConfiguration) {
    Configure("[lookup_regex]\nResult = old\n");
    KwLookupHolder before(m_log);
    before.Init("regex:a");
    for (const char* bad : {"Result = new\nMatchLimit = x\n", "Result = new\nOnError = x\n"}) {
        Configure(std::string("[lookup_regex]\n") + bad);
        EXPECT_THAT(RecordingLog::Texts(LEVEL_ERROR),
                    Contains("Error in configuration reload for regex: error in reading "
                             "configuration for regex"));
        EXPECT_EQ(Ask(before, "a").res, " old");
        // A new item loads the type again, which fails too.
        EXPECT_EQ(ErrorOf("regex:a"),
                  "  Error in init lookup [regex:a]: error in reading configuration for regex");
    }
    Configure("[lookup_regex]\nResult = newest\n");
    EXPECT_EQ(AskList("regex:a", "a").res, " newest");
    EXPECT_EQ(Ask(before, "a").res, " old");
}

TEST_F(RegexPluginTest, AFailedInitChangesNothing) {
    KwLookupHolder holder(m_log);
    holder.Init("regex:OnError=exception|MaxLength=5|Result=1|a");
    KwIfLookup& lookup = const_cast<KwIfLookup&>(holder.GetObjects()[0]);
    for (const char* bad : {"OnError=ignore|(", "OnError=ignore|Result=$9|b", "Bad=1|b", ""})
        EXPECT_THROW(lookup.Init(bad), std::invalid_argument) << bad;
    EXPECT_EQ(Ask(holder, "a"), (Answer{true, " 1", "a"}));
    EXPECT_THROW(Ask(holder, "abcdef"), std::runtime_error);
    lookup.Init("Result=2|b");
    EXPECT_EQ(Ask(holder, "abcdef"), (Answer{true, " 2", "b"}));
}

TEST_F(RegexPluginTest, AnyBytes) {
    using namespace std::string_literals;
    EXPECT_TRUE(AskList("regex:^.\xe9\x80$", "\0\xe9\x80"s).found);
    EXPECT_TRUE(AskList("regex:a\0b"s, "xa\0by"s).found);
    std::string all;
    for (int byte = 0; byte < 256; ++byte)
        all += static_cast<char>(byte);
    EXPECT_EQ(AskList("regex:Result=$0|(?s).*", all).res, " " + all);
}

} // namespace
