// SPDX-License-Identifier: MIT
#include "families/patterns/Pcre2Pattern.h"
#include "families/patterns/ResultText.h"

#include <gtest/gtest.h>

#include <ctime>
#include <stdexcept>
#include <string>
#include <vector>

using namespace kwlookup;

namespace {

std::string Bytes(std::string_view text) {
    return std::string(text);
}

template <typename Exception, typename Step>
std::string What(Step step) {
    try {
        step();
    } catch (const Exception& error) {
        return error.what();
    }
    return "nothing was thrown";
}

struct MatchCase {
    std::string pattern;
    unsigned options;
    std::string text;
    bool match;
};

constexpr unsigned NO_CASE = Pcre2Pattern::IgnoreCase;
constexpr unsigned MULTI_LINE = Pcre2Pattern::MultiLine;
constexpr unsigned DOT_ALL = Pcre2Pattern::DotAll;
constexpr unsigned WHITE_SPACE = Pcre2Pattern::WhiteSpace;

TEST(Pcre2PatternTest, Matches) {
    using namespace std::string_literals;
    const std::vector<MatchCase> cases = {
        {"", 0, "", true},
        {"", 0, "abc", true},
        {"b", 0, "abc", true},
        {"^b", 0, "abc", false},
        {"B", 0, "abc", false},
        {"B", NO_CASE, "abc", true},
        {"^b", 0, "a\nb", false},
        {"^b", MULTI_LINE, "a\nb", true},
        {"a.b", 0, "a\nb", false},
        {"a.b", DOT_ALL, "a\nb", true},
        {"a b # c", 0, "ab", false},
        {"a b # c", WHITE_SPACE, "ab", true},
        // Characters are bytes: a UTF-8 letter is two, and only A to Z have letter case.
        {"^.$", 0, "\xc3\xa9", false},
        {"^..$", 0, "\xc3\xa9", true},
        {"^\xe9$", NO_CASE, "\xc9", false},
        {"^[\xe0-\xff]$", NO_CASE, "\xe9", true},
        {"^\\w$", 0, "\xe9", false},
        {"a\0b"s, 0, "xa\0by"s, true},
        {"a\0b"s, 0, "xa", false},
        {"a$", 0, "a\0"s, false},
    };
    for (const MatchCase& test : cases) {
        SCOPED_TRACE(test.pattern + " on " + test.text);
        const Pcre2Pattern pattern(test.pattern, test.options);
        EXPECT_EQ(pattern.GetText(), test.pattern);
        EXPECT_EQ(pattern.Search(test.text, PatternLimits(), nullptr), test.match);
    }
}

TEST(Pcre2PatternTest, ErrorsNameTheOffset) {
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"(a", "missing closing parenthesis at offset 2"},
        {"ab[c", "missing terminating ] for character class at offset 4"},
        {"a{2}{", "nothing was thrown"},
        {"*a", "quantifier does not follow a repeatable item at offset 0"},
        {"(*UTF)a", "using UTF is disabled by the application at offset 6"},
        {"(*UCP)a", "using UCP is disabled by the application at offset 6"},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.first);
        EXPECT_EQ(What<std::invalid_argument>([&] { Pcre2Pattern(test.first, 0); }), test.second);
    }
}

TEST(Pcre2PatternTest, ReturnsTheGroups) {
    const Pcre2Pattern pattern("(a)(x)?(.)()(.)(.)(.)(.)(.)(.)(.)", 0);
    EXPECT_EQ(pattern.GetGroupCount(), 11u);
    Pcre2Pattern::Groups groups;
    groups.fill("before");
    const std::string text = "-ab123456789-";
    ASSERT_TRUE(pattern.Search(text, PatternLimits(), &groups));
    const std::vector<std::string> expected = {"ab1234567", "a", "",  "b", "",
                                               "1",         "2", "3", "4", "5"};
    EXPECT_EQ(std::vector<std::string>(groups.begin(), groups.end()), expected);

    groups.fill("before");
    ASSERT_TRUE(Pcre2Pattern("^-(a|(z))", 0).Search(text, PatternLimits(), &groups));
    EXPECT_EQ(groups[1], "a");
    for (std::size_t i = 2; i < groups.size(); ++i)
        EXPECT_EQ(groups[i], "");

    // A match whose start was set after its end.
    groups.fill("before");
    ASSERT_TRUE(
        Pcre2Pattern("(?=-a(?1))(?(DEFINE)(\\K))", 0).Search(text, PatternLimits(), &groups));
    EXPECT_EQ(groups[0], "");
}

TEST(Pcre2PatternTest, ErrorsOfLimitsNamePatternAndParameter) {
    struct Case {
        std::string pattern;
        std::string text;
        PatternLimits limits;
        std::string reason;
    };
    const PatternLimits usual;
    PatternLimits few_steps;
    few_steps.match = 100;
    PatternLimits no_depth;
    no_depth.depth = 10;
    PatternLimits little_memory;
    little_memory.heap = 32 * 1024;
    little_memory.match = 10000000;
    little_memory.length = 1000000;
    const std::string many(100000, 'a');
    const Case cases[] = {
        {"^(a+)+$", std::string(40, 'a') + "b", usual, "match limit exceeded; MatchLimit is 10000"},
        {"^(a+)+$", std::string(12, 'a') + "b", few_steps,
         "match limit exceeded; MatchLimit is 100"},
        // Interpreted, as on systems that do not allow machine code.
        {"(*NO_JIT)^(a|b)*$", std::string(100, 'a'), no_depth,
         "matching depth limit exceeded; DepthLimit is 10"},
        {"(*NO_JIT)^(a|b)*$", many, little_memory, "heap limit exceeded; HeapLimit is 32768 bytes"},
        {"^(a|b)*$", many, little_memory, "no more memory for JIT stack; HeapLimit is 32768 bytes"},
        {"a", std::string(513, 'b'), usual, "the text has 513 bytes; MaxLength is 512"},
    };
    for (const Case& test : cases) {
        const Pcre2Pattern pattern(test.pattern, 0);
        const std::string reason =
            What<std::runtime_error>([&] { pattern.Search(test.text, test.limits, nullptr); });
        if (test.limits.heap == little_memory.heap && test.pattern[0] == '^') {
            EXPECT_EQ(reason.substr(reason.find(';')), "; HeapLimit is 32768 bytes") << reason;
            continue;
        }
        EXPECT_EQ(reason, "pattern '" + test.pattern + "': " + test.reason);
    }
    EXPECT_FALSE(Pcre2Pattern("a", 0).Search(std::string(512, 'b'), usual, nullptr));
}

TEST(Pcre2PatternTest, TheTimeLimitEndsALongSearch) {
    PatternLimits limits;
    limits.length = 10000000;
    limits.match = 100000000;
    limits.heap = 64 * 1024 * 1024;
    limits.time = 20;
    const std::string text(1000000, 'a');
    const std::string pattern = "a.{0,2000}[b]";
    const std::clock_t begin = std::clock();
    EXPECT_EQ(
        What<std::runtime_error>([&] { Pcre2Pattern(pattern, 0).Search(text, limits, nullptr); }),
        "pattern '" + pattern + "': search time exceeded; SearchTime is 20 ms");
    EXPECT_LT(std::clock() - begin, CLOCKS_PER_SEC / 2);
}

// Long texts are searched in parts, unless the pattern has a verb, here one without an effect.
TEST(Pcre2PatternTest, ALongTextIsSearchedAsAWhole) {
    PatternLimits limits;
    limits.length = 10000;
    limits.match = 10000000;
    limits.time = 1000000;
    const auto found = [&](const std::string& pattern, const std::string& text) {
        Pcre2Pattern::Groups groups;
        if (!Pcre2Pattern(pattern, MULTI_LINE).Search(text, limits, &groups))
            return std::string("nothing");
        return std::to_string(groups[0].data() - text.data()) + ":" + Bytes(groups[0]) + ":" +
               Bytes(groups[1]);
    };
    std::size_t matches = 0;
    for (const std::string pattern :
         {"b",     "(a)b",  "^b",     "b$",     "(?<=(a))b", "(?<!a)b",       "\\bb",
          "\\Bb+", "a\\Kb", "(b).*b", ".*b",    "(?s).*b",   "(b)(?s:.*)\\1", "[^a]+$",
          "\\Ab",  "b\\z",  "b?$",    "\\n(b)", "(?=(b))",   "b|\\z"}) {
        for (const std::size_t place :
             {0u, 1u, 511u, 512u, 513u, 514u, 1024u, 1025u, 1026u, 1027u}) {
            for (const std::string piece : {"b", "\nb", "ab\n", "bab", " b "}) {
                for (const std::size_t rest : {0u, 1u, 600u}) {
                    const std::string text =
                        std::string(place, 'a') + piece + std::string(rest, 'a');
                    const std::string whole = found("(*LIMIT_HEAP=1000000)" + pattern, text);
                    EXPECT_EQ(found(pattern, text), whole) << pattern << " at " << place;
                    matches += whole != "nothing";
                }
            }
        }
    }
    EXPECT_GT(matches, 1000u);
    // Patterns that would match differently in a part.
    const std::string text = std::string(513, 'a') + "ab" + std::string(600, 'x');
    EXPECT_EQ(found("\\Gb|\\Gab", text), "nothing");
    EXPECT_EQ(found("y|\\Gab", text), "nothing");
    EXPECT_EQ(found("a(*COMMIT)b", text), "nothing");
    EXPECT_EQ(found("a++(*SKIP)y|ab", text), "nothing");
}

TEST(Pcre2PatternTest, EachSearchHasItsOwnLimits) {
    const Pcre2Pattern pattern("^(a|b)*$", 0);
    PatternLimits limits;
    limits.length = 1000000;
    limits.match = 10000000;
    const std::string text(20000, 'a');
    for (int i = 0; i < 3; ++i) {
        limits.heap = 32 * 1024;
        EXPECT_THROW(pattern.Search(text, limits, nullptr), std::runtime_error);
        limits.heap = 64 * 1024 * 1024;
        EXPECT_TRUE(pattern.Search(text, limits, nullptr));
    }
}

TEST(ResultTextTest, Expands) {
    const Pcre2Pattern pattern("(.)(.)?", 0);
    const Pcre2Pattern::Groups groups = {"whole", "one", "", "3", "4", "5", "6", "7", "8", "9"};
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"", ""},
        {"plain", "plain"},
        {"$0", "whole"},
        {"$1-$2-$1", "one--one"},
        {"$$1", "$1"},
        {"$$$1$$", "$one$"},
        {"a$1b", "aoneb"},
        {"$11", "one1"},
        {Bytes("\xe9$1\x80"), Bytes("\xe9one\x80")},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.first);
        const ResultText result(test.first, pattern);
        EXPECT_EQ(result.Empty(), test.first.empty());
        EXPECT_EQ(result.Expand(groups), test.second);
    }
    EXPECT_TRUE(ResultText().Empty());
}

TEST(ResultTextTest, DoesNotExpandGroups) {
    Pcre2Pattern::Groups groups;
    groups.fill("$0$1$$");
    EXPECT_EQ(ResultText("<$1>", Pcre2Pattern("(a)", 0)).Expand(groups), "<$0$1$$>");
}

TEST(ResultTextTest, InvalidCodesAreErrors) {
    const Pcre2Pattern pattern("(.)(.)", 0);
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"a$", "result 'a$': '$' at offset 1 is not followed by a digit or '$'"},
        {"$a", "result '$a': '$' at offset 0 is not followed by a digit or '$'"},
        {"$$$", "result '$$$': '$' at offset 2 is not followed by a digit or '$'"},
        {"$2$3", "result '$2$3': the pattern has no group 3"},
    };
    for (const auto& test : cases)
        EXPECT_EQ(What<std::invalid_argument>([&] { ResultText(test.first, pattern); }),
                  test.second);
}

} // namespace
