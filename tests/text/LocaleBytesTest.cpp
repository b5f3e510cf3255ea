// SPDX-License-Identifier: MIT
#include "text/LocaleBytes.h"

#include "support/TestLocale.h"
#include "text/FoldedText.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string_view>
#include <thread>
#include <utility>

using namespace std::string_literals;

namespace {

using namespace kwlookup;

void ExpectTablesOf(const std::locale& locale) {
    const LocaleBytes& bytes = LocaleBytes::Current();
    for (int byte = 0; byte < 256; ++byte) {
        SCOPED_TRACE(byte);
        const char c = static_cast<char>(byte);
        EXPECT_EQ(bytes.Upper(c), std::toupper(c, locale));
        EXPECT_EQ(bytes.Lower(c), std::tolower(c, locale));
        EXPECT_EQ(bytes.IsSpace(c), std::isspace(c, locale));
        EXPECT_EQ(bytes.GetUpperTable()[static_cast<std::size_t>(byte)], std::toupper(c, locale));
    }
}

TEST(LocaleBytes, FollowTheGlobalLocale) {
    ExpectTablesOf(std::locale::classic());
    {
        TestBytes mine = TestBytes::Latin1();
        mine.upper['a'] = '\xff';
        mine.lower['A'] = '\x80';
        mine.space['x'] = true;
        const GlobalLocale global(mine.GetLocale());
        ExpectTablesOf(std::locale());
        EXPECT_EQ(LocaleBytes::Current().Upper('\xe9'), '\xc9');
        EXPECT_TRUE(LocaleBytes::Current().IsSpace('x'));

        // Two locales without a name are different locales.
        const GlobalLocale other(TestBytes().GetLocale());
        ExpectTablesOf(std::locale::classic());
    }
    ExpectTablesOf(std::locale::classic());
}

TEST(LocaleBytes, KnowOnlyAsciiInTheClassicLocale) {
    const LocaleBytes& bytes = LocaleBytes::Current();
    std::string spaces;
    for (int byte = 0; byte < 256; ++byte)
        if (bytes.IsSpace(static_cast<char>(byte)))
            spaces += static_cast<char>(byte);
    EXPECT_EQ(spaces, "\t\n\v\f\r ");
    for (int byte = 0x80; byte < 256; ++byte) {
        EXPECT_EQ(bytes.Upper(static_cast<char>(byte)), static_cast<char>(byte));
        EXPECT_EQ(bytes.Lower(static_cast<char>(byte)), static_cast<char>(byte));
    }
}

TEST(LocaleBytes, BelongToOneThread) {
    const LocaleBytes* here = &LocaleBytes::Current();
    const LocaleBytes* there = nullptr;
    std::thread([&] { there = &LocaleBytes::Current(); }).join();
    EXPECT_NE(here, there);
}

TEST(LocaleBytes, TrimBothEnds) {
    const struct {
        std::string text, expected;
    } cases[] = {
        {"", ""},
        {" ", ""},
        {" \t\n\v\f\r ", ""},
        {"a", "a"},
        {" a", "a"},
        {"a ", "a"},
        {"\r\na b\t", "a b"},
        {"\0 a \0"s, "\0 a \0"s},
        {"\xa0\x61\x85", "\xa0\x61\x85"},
        {std::string(1024 * 1024, ' ') + "x", "x"},
    };
    const LocaleBytes& bytes = LocaleBytes::Current();
    for (const auto& c : cases) {
        SCOPED_TRACE("[" + c.text.substr(0, 40) + "]");
        std::string text = c.text;
        bytes.Trim(text);
        EXPECT_EQ(text, c.expected);

        const char* begin = c.text.data();
        const char* end = begin + c.text.size();
        bytes.Trim(begin, end);
        EXPECT_EQ(std::string(begin, end), c.expected);
    }
}

TEST(LocaleBytes, CompareIgnoringCase) {
    const struct {
        std::string left, right;
        bool equal;
    } cases[] = {
        {"", "", true},         {"a", "A", true},         {"aB", "Ab", true},
        {"a", "", false},       {"a", "ab", false},       {"a", "b", false},
        {"@", "`", false},      {"[", "{", false},        {"\xe9", "\xc9", false},
        {"\xe9", "\xe9", true}, {"a\0b"s, "A\0B"s, true}, {"a\0b"s, "A\0C"s, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.left + " and " + c.right);
        EXPECT_EQ(LocaleBytes::Current().EqualNoCase(c.left, c.right), c.equal);
        EXPECT_EQ(LocaleBytes::Current().EqualNoCase(std::string_view(c.right), c.left), c.equal);
    }
    const GlobalLocale global(TestBytes::Latin1().GetLocale());
    EXPECT_TRUE(LocaleBytes::Current().EqualNoCase("\xe9"s, "\xc9"s));
}

TEST(LocaleBytes, CompareLongTextsAsByteByByte) {
    std::mt19937 random(3);
    TestBytes odd;
    odd.upper['i'] = '\xdd';
    odd.upper[0] = 'X';
    for (const std::locale& locale :
         {std::locale::classic(), TestBytes::Latin1().GetLocale(), odd.GetLocale()}) {
        const GlobalLocale global(locale);
        const LocaleBytes& bytes = LocaleBytes::Current();
        for (std::size_t size = 0; size < 200; ++size) {
            std::string left(size, '\0');
            for (char& c : left)
                c = static_cast<char>(random());
            std::string right = left;
            for (char& c : right)
                c = random() % 2 ? std::toupper(c, locale) : c;
            EXPECT_TRUE(bytes.EqualNoCase(left, right));
            for (std::size_t i = 0; i < size; ++i) {
                const char before = std::exchange(right[i], static_cast<char>(random()));
                EXPECT_EQ(bytes.EqualNoCase(left, right),
                          std::toupper(left[i], locale) == std::toupper(right[i], locale));
                right[i] = before;
            }
        }
    }
}

/// Counts its calls.
struct CountingFold {
    static constexpr bool HAS_BLOCKS = false;

    std::size_t& count;

    std::uint64_t GetDifference(std::uint64_t left, std::uint64_t right) const {
        ++count;
        return AsciiUpper().GetDifference(left, right);
    }
};

TEST(LocaleBytes, CompareEightBytesAtOnce) {
    constexpr std::size_t SIZE = 64 * 1024;
    std::size_t count = 0;
    EXPECT_TRUE(Equal(CountingFold{count}, std::string(SIZE, 'x'), std::string(SIZE, 'X')));
    EXPECT_LE(count, SIZE / 8 + 1);
}

TEST(LocaleBytes, CompareEachByteWithEachOther) {
    for (const std::locale& locale : {std::locale::classic(), TestBytes::Latin1().GetLocale()}) {
        const GlobalLocale global(locale);
        const LocaleBytes& bytes = LocaleBytes::Current();
        for (int left = 0; left < 256; ++left)
            for (int right = 0; right < 256; ++right) {
                const char l = static_cast<char>(left), r = static_cast<char>(right);
                const bool equal = bytes.Upper(l) == bytes.Upper(r);
                EXPECT_EQ(bytes.EqualNoCase(std::string(1, l), std::string(1, r)), equal);
                EXPECT_EQ(bytes.EqualNoCase(std::string(9, l), std::string(9, r)), equal);
            }
    }
}

} // namespace
