// SPDX-License-Identifier: MIT
// The parser's free functions: find_word(), mustbename(), compare().
#include "sql/KwSQLParser.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Words = std::vector<std::string>;

Words AllWords(std::string text) {
    Words words;
    char* cursor = text.data();
    char* word = nullptr;
    while (find_word(&word, &cursor))
        words.emplace_back(word, cursor);
    return words;
}

TEST(FindWord, CutsAText) {
    const struct {
        std::string text;
        Words words;
    } cases[] = {
        {"", {}},
        {" \t\n\v\f\r", {}},
        {"select", {"select"}},
        {" \t\n\v\f\rSelect \n a", {"Select", "a"}},
        {"a,b", {"a", ",", "b"}},
        {"schema.table", {"schema.table"}},
        {"a_b_1", {"a_b_1"}},
        {"a..b__", {"a..b__"}},
        {".a", {".", "a"}},
        {"_a", {"_", "a"}},
        {"._a._", {".", "_", "a._"}},
        {"a-b", {"a", "-", "b"}},
        {"9lives 007", {"9lives", "007"}},
        {"(:a<int>)", {"(", ":", "a", "<", "int", ">", ")"}},
        {"''\"`", {"'", "'", "\"", "`"}},
        {"a\xe9\x62", {"a"}}, // a byte without a class ends the word and the text
        {"\xd0\xb0 b", {}},
        {"a \x01 b", {"a"}},
        {"a\x7f", {"a"}},
        {std::string("a\0b", 3), {"a"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        EXPECT_EQ(AllWords(c.text), c.words);
    }
}

TEST(FindWord, KnowsEachByte) {
    const std::string punctuation = "!\"#$%&'()*+,-./:;<=>?@[\\]^_`{|}~";
    for (int byte = 1; byte < 256; ++byte) {
        SCOPED_TRACE(byte);
        const char c = static_cast<char>(byte);
        const bool space = c == ' ' || (c >= '\t' && c <= '\r');
        const bool alnum =
            (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
        const bool punct = punctuation.find(c) != std::string::npos;
        const std::string one(1, c);

        Words alone, doubled, inside = {"x"};
        if (alnum || punct)
            alone = {one};
        if (alnum)
            doubled = {one + one};
        if (punct)
            doubled = {one, one};
        if (alnum || c == '.' || c == '_')
            inside = {"x" + one + "y"};
        else if (punct)
            inside = {"x", one, "y"};
        else if (space)
            inside = {"x", "y"};
        EXPECT_EQ(AllWords(one), alone);
        EXPECT_EQ(AllWords(one + one), doubled);
        EXPECT_EQ(AllWords("x" + one + "y"), inside);
    }
}

TEST(FindWord, SetsNothingWithoutAWord) {
    for (const char* given : {"", "  ", " \xe9", "\x01z"}) {
        SCOPED_TRACE(given);
        std::string text = given;
        char* word = nullptr;
        char* cursor = text.data();
        EXPECT_FALSE(find_word(&word, &cursor));
        EXPECT_EQ(word, nullptr);
        EXPECT_EQ(cursor, text.data());
    }
}

TEST(FindWord, LeavesTheCursorAfterTheWord) {
    std::string text = "  ab  ='";
    char* word = nullptr;
    char* cursor = text.data();
    ASSERT_TRUE(find_word(&word, &cursor));
    EXPECT_EQ(word, text.data() + 2);
    EXPECT_EQ(cursor, text.data() + 4);
    ASSERT_TRUE(find_word(&word, &cursor));
    EXPECT_EQ(word, text.data() + 6);
    EXPECT_EQ(cursor, text.data() + 7);
    EXPECT_EQ(text, "  ab  ='");
}

bool IsName(const std::string& word) {
    return mustbename(word.data(), word.data() + word.size());
}

TEST(MustBeName, TakesAnAsciiCharacterAndThenLettersDigitsAndUnderscores) {
    for (const char* word : {"a", "Z", "9", "a_b", "a9_", "_a", "*", ",", "'", ".", " ", "\x7f",
                             "*a", "-9", "select"}) {
        SCOPED_TRACE(word);
        EXPECT_TRUE(IsName(word));
    }
    for (const char* word : {"", "a.b", "schema.table", "a.", "a*", "a ", "**", "\xe9", "\xe9t\x65",
                             "\x80", "\xff", "t\xe9", "a\xff"}) {
        SCOPED_TRACE(word);
        EXPECT_FALSE(IsName(word));
    }
    EXPECT_TRUE(IsName(std::string(1024 * 1024, 'a')));
    EXPECT_FALSE(IsName(std::string(1024 * 1024, 'a') + "."));
}

TEST(MustBeName, ReadsOnlyTheWord) {
    const char text[] = "ab.";
    EXPECT_TRUE(mustbename(text, text + 2));
    EXPECT_TRUE(mustbename(text + 2, text + 3));
    EXPECT_FALSE(mustbename(text, text + 3));
}

TEST(Compare, ComparesTheWholeWordIgnoringCase) {
    const struct {
        std::string word;
        const char* keyword;
        bool equal;
    } cases[] = {
        {"select", "select", true},
        {"SELECT", "select", true},
        {"sElEcT", "select", true},
        {"selec", "select", false},
        {"selects", "select", false},
        {"sel_ct", "select", false},
        {"", "select", false},
        {"s", "", false},
        {"", "", true},
        {"*", "*", true},
        {"*", "**", false},
        {"<", ">", false},
        {"select", "SELECT", false}, // keywords are in lower case
        {"[", "{", false},
        {"@", "`", false},
        {std::string("int\0", 4), "int", false},
        {"\xc9", "\xe9", false}, // not letters in the classic locale
        {"\xe9", "\xe9", true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.word + " and " + c.keyword);
        EXPECT_EQ(compare(c.word.data(), c.word.data() + c.word.size(), c.keyword), c.equal);
    }
}

TEST(Compare, ReadsOnlyTheWord) {
    const char text[] = "selects";
    EXPECT_TRUE(compare(text, text + 6, "select"));
    EXPECT_FALSE(compare(text, text + 5, "select"));
}

} // namespace
