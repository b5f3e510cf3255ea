// SPDX-License-Identifier: MIT
// Well-known runaway patterns on texts made for them: with the default limits, each search ends
// with an answer or with an error that names a limit.
#include "families/patterns/Pcre2Pattern.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

using namespace kwlookup;

namespace {

std::string Repeated(const std::string& piece, std::size_t times) {
    std::string text;
    for (std::size_t i = 0; i < times; ++i)
        text += piece;
    return text;
}

std::vector<std::string> EvilPatterns() {
    return {
        "^(a+)+$",
        "(a+)+b",
        "(a|a)*b",
        "(a|aa)+$",
        "(a*)*b",
        "([a-zA-Z]+)*$x",
        "(.*a){20}$",
        "(.*a){12}b",
        "^(([a-z])+.)+[A-Z]([a-z])+$",
        Repeated("a?", 30) + Repeated("a", 30),
        Repeated("a*", 10) + "b",
        "(?:a?){50}b",
        "(a?){64}a{64}b",
        ".*.*.*=.*",
        ".*.*.*.*.*x",
        "(x+x+)+y",
        "(?:x+x+)+y",
        "(\\w+\\s?)*$!",
        "(a+)\\1\\1b",
        "(a*)\\1*b",
        "(.+)\\1$y",
        "(.+)\\1\\1$y",
        "(.+)(.+)\\2\\1$y",
        "(.*)(.*)(.*)\\1\\2\\3$y",
        "(?=(.+)\\1$y|)(.+)\\2$y",
        "(?<=(.))(.+)\\2$y",
        "((a)|(b)|(c))*d",
        "(?:(?:a|b)|(?:a|c))*d",
        "([a-z0-9]+[._-]?)+@x",
        "^([a-zA-Z0-9])(([\\-.]|[_]+)?([a-zA-Z0-9]+))*(@){1}[a-z0-9]+[.]{1}(([a-z]{2,3})|([a-z]{2,"
        "3}"
        "[.]{1}[a-z]{2,3}))$",
        "(.|\\s)*z",
        "(?:.|\\n)*?z",
        "(a(?R)?b)*c",
        "(\\((?:[^()]|(?1))*\\))+x",
        "(?:a(?:a(?:a(?:a)*)*)*)*b",
        "(aa|a)*?b",
        "(?s)(.*?,){11}P",
        "(?:(a+)(?:b|$))*c",
        "(?>a*)*b",
        "((?:a{1,5}){1,5}){1,5}$b",
        "(a{0,50}){0,50}b",
        "\\b(\\w+)(\\W+\\1)+\\b!",
        "(?:\\w*\\W*)*#",
        "((ab)*)*c",
        "(?=(?:a*)*b)a",
        "(?!(?:a*)*b)a",
        "(?:a*)*(?:a*)*b",
        "((.*)(.*)){5}x",
        "(?:(?:(?:(?:(?:a?){9}){9}))){9}b",
        "^(a?a?a?){20}$b",
        "(?|(a)|(a))*b",
        "(a+?)+?b",
        "(\\d+\\.)*\\d+x",
        "(?:(?=(a+))\\1)*b",
        "(?:a?b?a?b?a?b?a?b?a?b?){20}y",
        "(?:[ab]?){100}[^ab]{2}",
        "[a-z]*?[a-z]*?[a-z]*?[a-z]*?y$z",
    };
}

std::vector<std::string> EvilTexts() {
    std::vector<std::string> texts;
    for (const char* piece :
         {"a",    "x",        "ab",   "aab", "abc",    "aA", "a ",
          "0.",   "a@",       "((",   "()",  "a,",     "xy", "\n",
          "\x80", "foo bar ", "a.b-", "=",   "aaaaab", "ca", "aaaaaaaaaaaaaaaaaaaa!"}) {
        std::string text = Repeated(piece, 512).substr(0, 512);
        texts.push_back(text);
        text.back() = '!';
        texts.push_back(text);
        texts.push_back(text.substr(0, 30) + "!");
    }
    return texts;
}

class EvilPatternsTest : public testing::TestWithParam<const char*> {};

TEST_P(EvilPatternsTest, EndWithAnAnswerOrALimit) {
    const std::vector<std::string> texts = EvilTexts();
    std::size_t limits_reached = 0;
    for (const std::string& evil : EvilPatterns()) {
        const Pcre2Pattern pattern(GetParam() + evil, Pcre2Pattern::IgnoreCase);
        for (const std::string& text : texts) {
            try {
                pattern.Search(text, PatternLimits(), nullptr);
            } catch (const std::runtime_error& error) {
                EXPECT_NE(std::string(error.what()).find("Limit is "), std::string::npos)
                    << error.what();
                ++limits_reached;
            }
        }
    }
    EXPECT_GT(limits_reached, 20u);
}

INSTANTIATE_TEST_SUITE_P(MachineCode, EvilPatternsTest, testing::Values(""));
INSTANTIATE_TEST_SUITE_P(Interpreted, EvilPatternsTest, testing::Values("(*NO_JIT)"));

} // namespace
