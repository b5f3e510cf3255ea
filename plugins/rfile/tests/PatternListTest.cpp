// SPDX-License-Identifier: MIT
#include "plugins/rfile/PatternList.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ctime>
#include <optional>
#include <random>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

using namespace kwlookup;

namespace {

/// Makes patterns from a grammar, and texts that they match or nearly match.
class PatternMaker {
public:
    explicit PatternMaker(unsigned seed) : m_engine(seed) {}

    std::size_t Below(std::size_t count) { return m_engine() % count; }
    bool OneIn(std::size_t count) { return Below(count) == 0; }

    /// A pattern. `sample` becomes a text that it probably matches.
    std::string Pattern(std::string& sample) {
        sample.clear();
        m_groups = 0;
        std::string pattern;
        if (OneIn(4))
            pattern += OneIn(2) ? "^" : "\\A";
        pattern += Alternation(2, sample);
        if (OneIn(4))
            pattern += OneIn(2) ? "$" : "\\z";
        return pattern;
    }

    /// `text` with small changes.
    std::string Changed(std::string text) {
        for (std::size_t changes = Below(4); changes > 0; --changes) {
            const std::size_t place = Below(text.size() + 1);
            switch (Below(5)) {
            case 0:
                text.insert(place, Word());
                break;
            case 1:
                text.erase(place, 1 + Below(2));
                break;
            case 2:
                for (char& c : text)
                    if (OneIn(3))
                        c = static_cast<char>(c >= 'a' && c <= 'z'   ? c - 32
                                              : c >= 'A' && c <= 'Z' ? c + 32
                                                                     : c);
                break;
            case 3:
                text.insert(0, Word());
                break;
            default:
                text += Word();
            }
        }
        return text;
    }

private:
    std::string Word() {
        static const char* const words[] = {"bounce", "news", "mail", "corp",      "lan",
                                            "spam",   "MX",   "Foo",  "\xe9t\xe9", "abc"};
        return words[Below(std::size(words))];
    }

    std::string Alternation(int depth, std::string& sample) {
        std::string pattern = Sequence(depth, sample);
        while (OneIn(4)) {
            std::string other;
            pattern += "|" + Sequence(depth, other);
            if (OneIn(2))
                sample = other;
        }
        return pattern;
    }

    std::string Sequence(int depth, std::string& sample) {
        std::string pattern;
        for (std::size_t items = 1 + Below(4); items > 0; --items) {
            std::string piece;
            const std::string item = Item(depth, piece);
            pattern += item + Repetition(item, piece);
            sample += piece;
        }
        return pattern;
    }

    std::string Item(int depth, std::string& sample) {
        switch (Below(depth > 0 ? 13 : 10)) {
        case 0:
        case 1:
        case 2:
        case 3:
            return Literal(sample);
        case 4:
            return Class(sample);
        case 5:
            return Escape(sample);
        case 6:
            sample = OneIn(2) ? "x" : "\xff";
            return ".";
        case 7: {
            static const char* const assertions[] = {"\\b", "\\B", "^", "$", "(?=a)", "(?!q)"};
            return assertions[Below(std::size(assertions))];
        }
        case 8: {
            // Syntax that is not analysed must still match.
            static const char* const others[][2] = {{"\\Qa.b\\E", "a.b"},
                                                    {"\\x{61}", "a"},
                                                    {"(?i)mail", "MAIL"},
                                                    {"\\141", "a"},
                                                    {"a++", "aaa"},
                                                    {"(?>corp)", "corp"},
                                                    {"[[:^alpha:]]", "7"},
                                                    {"{x", "{x"},
                                                    {"a{,2}", "a{,2}"},
                                                    {"(?#no)lan", "lan"},
                                                    {"\\K", ""},
                                                    {"x{2}{2}", "xxxx"},
                                                    {"(?#(corp)", ""},
                                                    {"(?#[mail)", ""},
                                                    {"[[:a:\\]]]", "a]"},
                                                    {"[[:a:]", "a"},
                                                    {"[[:a]bcd", ":bcd"},
                                                    {"[[:alpha:\\]]]", "a]"},
                                                    {"[[.a.\\]]]", ".]"},
                                                    {"[[:x]news:]", "xnews:]"},
                                                    {"(?:[[:a.]|]news)", "a"},
                                                    {"(?:[[.a:]|]news)", "a"}};
            const auto& other = others[Below(std::size(others))];
            sample = other[1];
            return other[0];
        }
        case 9:
            if (m_groups > 0 && OneIn(2)) {
                return "\\1";
            }
            return Literal(sample);
        case 10:
            ++m_groups;
            return "(" + Alternation(depth - 1, sample) + ")";
        default:
            return "(?:" + Alternation(depth - 1, sample) + ")";
        }
    }

    std::string Literal(std::string& sample) {
        sample = Word();
        if (OneIn(3))
            sample += "@.-_/#<>,"[Below(9)];
        std::string pattern;
        for (const char c : sample)
            pattern += std::string_view(".-_/#<>@,").find(c) != std::string_view::npos
                           ? std::string("\\") + c
                           : std::string(1, c);
        return pattern;
    }

    std::string Class(std::string& sample) {
        static const char* const classes[][2] = {
            {"[abc]", "b"},        {"[^abc]", "x"},  {"[a-z0-9.-]", "-"},    {"[]x]", "]"},
            {"[^]x]", "y"},        {"[.]", "."},     {"[+-]", "+"},          {"[-+]", "-"},
            {"[\\w-]", "-"},       {"[\\d.]", "7"},  {"[[:alpha:]_]", "_"},  {"[\\]\\\\]", "\\"},
            {"[\\x41\\x42]", "a"}, {"[KkSs]", "S"},  {"[\xe9\xc9]", "\xc9"}, {"[a[b]", "["},
            {"[\\s,]", "\v"},      {"[^\\S]", "\v"}, {"[\\t-\\r]", "\n"},    {"[a\\-z]", "-"},
            {"[\\x00x]", "x"},     {"[^\\W_]", "q"}, {"[\\h]", "\xa0"},      {"[a-c-e]", "-"}};
        const auto& chosen = classes[Below(std::size(classes))];
        sample = chosen[1];
        return chosen[0];
    }

    std::string Escape(std::string& sample) {
        static const char* const escapes[][2] = {
            {"\\d", "4"},      {"\\D", "x"},    {"\\w", "_"},   {"\\W", "."},
            {"\\s", "\v"},     {"\\S", "x"},    {"\\t", "\t"},  {"\\x4d", "m"},
            {"\\xE9", "\xe9"}, {"\\.", "."},    {"\\\\", "\\"}, {"\\h", " "},
            {"\\N", "n"},      {"\\e", "\x1b"}, {"\\n", "\n"},  {"\\v", "\n"}};
        const auto& chosen = escapes[Below(std::size(escapes))];
        sample = chosen[1];
        return chosen[0];
    }

    std::string Repetition(const std::string& item, std::string& sample) {
        static const char* const quantifiers[] = {"*",     "+",    "?",   "{2}",
                                                  "{0,3}", "{1,}", "{0}", "{02}"};
        if (!OneIn(3) || item[0] == '^' || item[0] == '$' || item.substr(0, 2) == "\\b" ||
            item.substr(0, 2) == "\\B" || item.substr(0, 3) == "\\K" || item.substr(0, 2) == "a+" ||
            item.substr(0, 3) == "(?i" || item.substr(0, 3) == "(?#")
            return std::string();
        // A quantifier repeats only the last byte of a literal.
        std::string quantifier = quantifiers[Below(std::size(quantifiers))];
        if ((quantifier == "{2}" || quantifier == "{02}") && !sample.empty())
            sample += item.back() == ')' || item.back() == ']' ? sample
                                                               : sample.substr(sample.size() - 1);
        if (OneIn(4))
            quantifier += '?';
        return quantifier;
    }

    std::mt19937 m_engine;
    int m_groups = 0;
};

/// The number of the first rule that matches when all are tried in order, or -1. Empty if one of
/// them fails.
std::optional<int> FindOneByOne(const PatternList& list, const std::string& text,
                                const PatternLimits& limits) {
    int number = 0;
    for (const PatternList::Rule& rule : list.GetRules()) {
        try {
            if (rule.pattern.Search(text, limits, nullptr))
                return number;
        } catch (const std::runtime_error&) {
            return std::nullopt;
        }
        ++number;
    }
    return -1;
}

bool Matches(const Pcre2Pattern& pattern, const std::string& text, const PatternLimits& limits) {
    try {
        return pattern.Search(text, limits, nullptr);
    } catch (const std::runtime_error&) {
        return false;
    }
}

int Find(const PatternList& list, const std::string& text, const PatternLimits& limits) {
    const PatternList::Rule* rule = list.Find(text, limits, nullptr);
    return rule ? static_cast<int>(rule->line) : -1;
}

class PatternListRandomTest : public testing::TestWithParam<unsigned> {};

TEST_P(PatternListRandomTest, AnswersAsTryingAllInOrder) {
    PatternMaker maker(GetParam());
    PatternLimits limits;
    limits.match = 100000;
    limits.length = 1000000;
    limits.time = 1000000;
    std::size_t found = 0, filtered = 0;
    for (int round = 0; round < 60; ++round) {
        PatternList list("random");
        std::vector<std::string> samples;
        while (list.GetRules().size() < 1 + maker.Below(40)) {
            std::string sample;
            const std::string pattern = maker.Pattern(sample);
            const unsigned options = static_cast<unsigned>(maker.Below(8));
            try {
                list.Add(pattern, options, "", list.GetRules().size());
                samples.push_back(sample);
            } catch (const std::invalid_argument&) {
            }
        }
        list.Finish();
        filtered += list.GetRules().size() - list.GetUnfilteredCount();
        for (const std::string& sample : samples) {
            for (int change = 0; change < 6; ++change) {
                const std::string text = maker.Changed(sample);
                const std::optional<int> expected = FindOneByOne(list, text, limits);
                if (!expected)
                    continue;
                found += *expected >= 0;
                ASSERT_EQ(Find(list, text, limits), *expected)
                    << "text [" << testing::PrintToString(text) << "]";
            }
        }
        // Also one pattern at a time, so that an earlier match does not hide a later one.
        for (std::size_t i = 0; i < samples.size(); ++i) {
            const Pcre2Pattern& pattern = list.GetRules()[i].pattern;
            const std::vector<LiteralSet> sets = RequiredLiterals(pattern.GetText());
            const std::string text = maker.Changed(samples[i]);
            std::string lower = text;
            for (char& c : lower)
                c = static_cast<char>(c >= 'A' && c <= 'Z' ? c + 32 : c);
            for (const unsigned options : {0u, 1u, 3u, 5u}) {
                if (!Matches(Pcre2Pattern(pattern.GetText(), options), text, limits))
                    continue;
                for (const LiteralSet& set : sets) {
                    bool holds = false;
                    for (const std::string& literal : set)
                        holds = holds || lower.find(literal) != std::string::npos;
                    EXPECT_TRUE(holds) << pattern.GetText() << " on " << text;
                }
            }
        }
    }
    EXPECT_GT(found, 1000u);
    EXPECT_GT(filtered, 100u);
}

INSTANTIATE_TEST_SUITE_P(Seeds, PatternListRandomTest, testing::Range(1u, 13u));

std::set<std::set<std::string>> Required(const std::string& pattern) {
    std::set<std::set<std::string>> sets;
    for (const LiteralSet& set : RequiredLiterals(pattern))
        sets.emplace(set.begin(), set.end());
    return sets;
}

using Sets = std::set<std::set<std::string>>;

TEST(RequiredLiteralsTest, AreFound) {
    const std::vector<std::pair<std::string, Sets>> cases = {
        {"^bounce-.*@Corp\\.lan$", {{"bounce-"}, {"@corp.lan"}}},
        {"(spam|bulk)@", {{"spam@", "bulk@"}}},
        {"news(?:letter)?@", {{"news"}}},
        {"[mM]ail[0-9]+\\.corp", {{"mail"}, {".corp"}}},
        {"a\\x62c\\-", {{"abc-"}}},
        {"\xe9t\xe9", {{"\xe9t\xe9"}}},
        {"(abc){2}", {{"abcabc"}}},
        {"x*?abcd??", {{"abc"}}},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.first);
        EXPECT_EQ(Required(test.first), test.second);
    }
}

TEST(RequiredLiteralsTest, AreEmptyIfAnyTextMayMatch) {
    for (const char* pattern :
         {"",           "ab",           "a.b.c",     ".*",          "abc|",         "(?:abc)?",
          "(abc|de)*",  "[0-9]+@",      "(?i)abc",   "abc++",       "(?>abc)",      "(?=abc)abc",
          "\\Qabc\\E",  "(*COMMIT)abc", "abc\\141",  "abc{2}{3}",   "abc\\1()",     "a{,3}bcd",
          "(?P<n>abc)", "abc(?#x)",     "\\x{61}bc", "[[.a.]]",     "ab\\Ecd",      "\\pLabc",
          "abca{02}",   "abca{0,02}",   "abca{00}",  "ab(?#(xyz)c", "[[:a:\\]]]bcd"})
        EXPECT_EQ(RequiredLiterals(pattern).size(), 0u) << pattern;
}

TEST(RequiredLiteralsTest, MayBeManyAndLong) {
    std::string many;
    std::set<std::string> words;
    for (int first = 'a'; first <= 'z'; ++first)
        for (int second = 'a'; second < 'm'; ++second)
            words.insert({static_cast<char>(first), static_cast<char>(second), 'x', 'y'});
    for (const std::string& word : words)
        many += (many.empty() ? "" : "|") + word;
    EXPECT_GT(words.size(), 256u);
    EXPECT_EQ(Required(many), Sets({words}));
    EXPECT_EQ(Required(std::string(20000, 'a')), Sets({{std::string(20000, 'a')}}));
    // Too large for RE2, so any text may match.
    EXPECT_EQ(RequiredLiterals("(?:abc){2000}").size(), 0u);
}

TEST(PatternListTest, TheFirstInFileOrderWins) {
    PatternList list("f");
    const std::vector<std::string> patterns = {"zzz",  "^[0-9]", "corp\\.lan$",
                                               "jdoe", ".",      "jdoe@"};
    for (const std::string& pattern : patterns)
        list.Add(pattern, 0, "", list.GetRules().size());
    list.Finish();
    EXPECT_EQ(list.GetUnfilteredCount(), 2u);
    const std::vector<std::pair<std::string, int>> cases = {
        {"jdoe@corp.lan", 2}, {"1jdoe@corp.lan", 1}, {"jdoe@x", 3}, {"other", 4}, {"", -1},
        {"zzz1", 0},          {"1zzz", 0},           {"JDOE", 4}};
    for (const auto& test : cases)
        EXPECT_EQ(Find(list, test.first, PatternLimits()), test.second) << test.first;
}

TEST(PatternListTest, LiteralsAtTheEdgesOfTheText) {
    PatternList list("f");
    list.Add("abc", 1, "", 0);
    list.Add("defg", 1, "", 1);
    list.Add("hijklmno", 1, "", 2);
    list.Finish();
    EXPECT_EQ(list.GetUnfilteredCount(), 0u);
    const std::vector<std::pair<std::string, int>> cases = {{"ABC", 0},
                                                            {"ab", -1},
                                                            {"xabc", 0},
                                                            {"abcx", 0},
                                                            {"defg", 1},
                                                            {"xDefg", 1},
                                                            {"def", -1},
                                                            {"hijklmno", 2},
                                                            {"hijklmn", -1},
                                                            {"ijklmno", -1},
                                                            {"xHIJKLMNO", 2},
                                                            {"hijklmnoabc", 0},
                                                            {std::string("\0abc\0", 5), 0},
                                                            {"", -1}};
    for (const auto& test : cases)
        EXPECT_EQ(Find(list, test.first, PatternLimits()), test.second) << test.first;
}

TEST(PatternListTest, ManyPatternsOfOneLiteral) {
    PatternList list("f");
    for (std::size_t i = 0; i < 500; ++i)
        list.Add("bounce-" + std::to_string(i) + "$", 0, "", i);
    list.Finish();
    EXPECT_EQ(Find(list, "bounce-499", PatternLimits()), 499);
    EXPECT_EQ(Find(list, "bounce-500", PatternLimits()), -1);
}

TEST(PatternListTest, TheTimeLimitIsForAllPatternsTogether) {
    PatternList list("lists/p");
    for (std::size_t i = 0; i < 2000; ++i)
        list.Add("[a-z]*[a-z]*[0-9]{" + std::to_string(3 + i % 90) + "}$", 0, "", i);
    list.Finish();
    std::string text(502, 'a');
    for (std::size_t i = 0; i < text.size(); ++i)
        text[i] = static_cast<char>('a' + i % 8);
    for (const int time : {50, 1}) {
        PatternLimits limits;
        limits.time = time;
        const std::clock_t begin = std::clock();
        try {
            list.Find(text, limits, nullptr);
            ADD_FAILURE() << "no error";
        } catch (const std::runtime_error& error) {
            EXPECT_THAT(error.what(),
                        testing::MatchesRegex("lists/p:[0-9]+: pattern '.*': search time exceeded; "
                                              "SearchTime is " +
                                              std::to_string(time) + " ms"));
        }
        EXPECT_LT(std::clock() - begin, CLOCKS_PER_SEC / 10);
    }
    // The next search has time of its own.
    PatternLimits limits;
    EXPECT_EQ(limits.time, 50);
    EXPECT_EQ(Find(list, "jdoe@corp.lan123", limits), 0);
    limits.time = 1000000;
    EXPECT_EQ(Find(list, text, limits), -1);
}

// Making the machine code of so many patterns takes longer than the limit.
TEST(PatternListTest, MakingMachineCodeIsNotSearchTime) {
    const auto first_search = [](const std::string& pattern) -> std::string {
        PatternList list("f");
        for (std::size_t i = 0; i < 1000; ++i)
            list.Add(pattern + std::to_string(1 + i % 99) +
                         "}(?:[a-m]x?|[n-z]{2}y|[0-9]+[.-]|(?:k|[u-v])*?z){15}",
                     0, "", i);
        list.Finish();
        try {
            return std::to_string(Find(list, "bounce-x@corp.lan", PatternLimits()));
        } catch (const std::runtime_error& error) {
            return error.what();
        }
    };
    for (const std::string pattern : {"bounce-[0-9]{", "^[a-z][0-9]{"}) {
        // A machine under load may delay any search beyond its time, but not each one.
        std::string outcome;
        for (int i = 0; i < 10 && outcome != "-1"; ++i)
            outcome = first_search(pattern);
        EXPECT_EQ(outcome, "-1");
    }
}

TEST(PatternListTest, AnEmptyListMatchesNothing) {
    PatternList list("f");
    list.Finish();
    EXPECT_EQ(Find(list, "abc", PatternLimits()), -1);
}

TEST(PatternListTest, ErrorsOfLimitsNameTheLine) {
    PatternList list("lists/p");
    list.Add("abc", 0, "", 3);
    list.Add("^(a+)+$", 0, "", 7);
    list.Finish();
    try {
        list.Find(std::string(40, 'a') + "b", PatternLimits(), nullptr);
        FAIL();
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "lists/p:7: pattern '^(a+)+$': match limit exceeded; MatchLimit "
                                   "is 10000");
    }
}

} // namespace
