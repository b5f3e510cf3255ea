// SPDX-License-Identifier: MIT

// Compares the lookup with a plain binary search over a sorted vector, with random lists and
// requests. They must find the same strings, and walks must see the same order.

#include "lookup/builtin/KwVectorStrLookup.h"

#include "lookup/builtin/AnyKeyFinder.h"
#include "lookup/builtin/ProbeFinder.h"
#include "lookup/builtin/StringList.h"
#include "support/Rounds.h"
#include "support/TestLocale.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <locale>
#include <random>

namespace {

using namespace kwlookup;

using Strings = std::vector<std::string>;

/// A sorted vector with a textbook binary search.
class PlainList {
public:
    void Push(const std::string& value) {
        m_strings.push_back(value);
        m_sorted = false;
    }

    bool Find(const std::string& request, int flags, std::string* matched) {
        const bool nocase = (flags & FIND_NOCASE) != 0;
        if (!m_sorted) {
            if (nocase)
                std::sort(m_strings.begin(), m_strings.end(), LessByUpper);
            else
                std::sort(m_strings.begin(), m_strings.end());
            m_sorted = true;
        }
        const auto less = nocase ? LessByUpper : LessBySignedChars;
        const auto found = std::lower_bound(m_strings.begin(), m_strings.end(), request, less);
        if (found == m_strings.end() || less(request, *found))
            return false;
        *matched = *std::equal_range(m_strings.begin(), m_strings.end(), request, less).first;
        return true;
    }

    const Strings& Get() const { return m_strings; }

private:
    static bool LessBySignedChars(const std::string& left, const std::string& right) {
        return std::lexicographical_compare(
            left.begin(), left.end(), right.begin(), right.end(), [](char l, char r) {
                return static_cast<signed char>(l) < static_cast<signed char>(r);
            });
    }

    static bool LessByUpper(const std::string& left, const std::string& right) {
        return std::lexicographical_compare(
            left.begin(), left.end(), right.begin(), right.end(), [](char l, char r) {
                return static_cast<signed char>(std::toupper(l, std::locale())) <
                       static_cast<signed char>(std::toupper(r, std::locale()));
            });
    }

    Strings m_strings;
    bool m_sorted = false;
};

class Random {
public:
    explicit Random(unsigned seed) : m_engine(seed) {}

    /// Returns a number below `end`. Does not use a distribution, whose values differ between
    /// standard libraries.
    std::size_t Below(std::size_t end) { return m_engine() % end; }
    bool OneIn(std::size_t n) { return Below(n) == 0; }

private:
    std::mt19937 m_engine;
};

/// The alphabet and the sizes of the texts of one run.
struct Style {
    std::string alphabet;
    std::string prefix;
    std::size_t longest;
};

Style RandomStyle(Random& random) {
    static const std::string ALPHABETS[] = {
        "ab",
        "aAbB",
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789@.-_",
        std::string("a\0A", 3),
        "az\x7f\x80\xe9\xc9\xff",
        "aA\xe9\xc9",
        "\xe9\xc9\xf6\xd6",
        "@`[{az",
    };
    Style style;
    style.alphabet = ALPHABETS[random.Below(std::size(ALPHABETS))];
    if (random.OneIn(8)) {
        style.alphabet.clear();
        for (int byte = 0; byte < 256; ++byte)
            style.alphabet += static_cast<char>(byte);
    }
    style.longest = random.OneIn(2) ? 1 + random.Below(6) : 1 + random.Below(40);
    if (random.OneIn(4))
        style.prefix.assign(random.Below(300), style.alphabet[0]);
    return style;
}

std::string RandomText(Random& random, const Style& style) {
    std::string text = random.OneIn(16) ? std::string() : style.prefix;
    for (std::size_t left = random.Below(style.longest + 1); left > 0; --left)
        text += style.alphabet[random.Below(style.alphabet.size())];
    return text;
}

/// Returns a text that resembles one of the list, or a random one.
std::string RandomRequest(Random& random, const Style& style, const Strings& strings) {
    if (strings.empty() || random.OneIn(3))
        return RandomText(random, style);
    std::string text = strings[random.Below(strings.size())];
    switch (random.Below(6)) {
    case 0: // change the case of some letters
        for (char& c : text)
            if (random.OneIn(2))
                c = random.OneIn(2) ? std::toupper(c, std::locale())
                                    : std::tolower(c, std::locale());
        break;
    case 1:
        text += style.alphabet[random.Below(style.alphabet.size())];
        break;
    case 2:
        if (!text.empty())
            text.pop_back();
        break;
    case 3:
        if (!text.empty())
            text[random.Below(text.size())] = style.alphabet[random.Below(style.alphabet.size())];
        break;
    default:
        break;
    }
    return text;
}

std::locale RandomLocale(Random& random) {
    switch (random.Below(4)) {
    case 0:
        return std::locale::classic();
    case 1:
        return TestBytes::Latin1().GetLocale();
    case 2: { // change a few letters
        TestBytes bytes;
        for (int i = 0; i < 4; ++i)
            bytes.upper[random.Below(256)] = static_cast<char>(random.Below(256));
        return bytes.GetLocale();
    }
    default: {
        TestBytes bytes;
        for (char& upper : bytes.upper)
            upper = static_cast<char>(random.Below(256));
        return bytes.GetLocale();
    }
    }
}

/// Searches one random list in both ways.
class Comparison {
public:
    explicit Comparison(unsigned seed) : m_random(seed) {}

    void Run() {
        const Style style = RandomStyle(m_random);
        const std::size_t size = m_random.OneIn(4) ? m_random.Below(500) : m_random.Below(60);
        const bool may_change_locale = m_random.OneIn(3);
        const bool may_push = m_random.OneIn(2);
        const std::size_t kinds = m_random.Below(3); // case matters, case ignored, both
        const GlobalLocale global(may_change_locale ? RandomLocale(m_random) : std::locale());

        for (std::size_t i = 0; i < size; ++i)
            Push(m_random.OneIn(10) && i > 0 ? m_plain.Get()[m_random.Below(i)]
                                             : RandomText(m_random, style));
        ASSERT_NO_FATAL_FAILURE(CompareWalk());
        for (int step = 0; step < 200; ++step) {
            if (may_push && m_random.OneIn(40))
                Push(RandomRequest(m_random, style, m_plain.Get()));
            if (may_change_locale && m_random.OneIn(25))
                std::locale::global(RandomLocale(m_random));
            const bool nocase = kinds == 2 ? m_random.OneIn(2) : kinds == 1;
            ASSERT_NO_FATAL_FAILURE(CompareSearch(RandomRequest(m_random, style, m_plain.Get()),
                                                  nocase ? NOCASE : FIND_EXACT));
            if (m_random.OneIn(20)) {
                ASSERT_NO_FATAL_FAILURE(CompareWalk());
            }
            if (m_random.OneIn(10)) {
                Strings keys;
                for (std::size_t left = 1 + m_random.Below(4); left > 0; --left)
                    keys.push_back(RandomRequest(m_random, style, m_plain.Get()));
                ASSERT_NO_FATAL_FAILURE(CompareWalkByKeys(AnyKeyFinder(keys)));
            }
        }
        const Strings strings = m_plain.Get();
        for (const std::string& text : strings) {
            ASSERT_NO_FATAL_FAILURE(CompareSearch(text, FIND_EXACT));
            ASSERT_NO_FATAL_FAILURE(CompareSearch(text, NOCASE));
        }
        ASSERT_NO_FATAL_FAILURE(CompareWalk());
    }

private:
    void Push(const std::string& value) {
        m_list.Init(value);
        m_plain.Push(value);
    }

    void CompareSearch(const std::string& request, int flags) {
        std::string expected = "-";
        std::string matched = "-";
        const bool found = m_plain.Find(request, flags, &expected);
        const ProbeFinder finder(request);
        ASSERT_EQ(m_list.Find(finder, nullptr, flags, &matched), found)
            << testing::PrintToString(request) << " by flags " << flags;
        ASSERT_EQ(matched, expected) << testing::PrintToString(request) << " by flags " << flags;
    }

    void CompareWalk() {
        const ProbeFinder all(std::string(400, '!'));
        std::string res;
        ASSERT_FALSE(m_list.Find(all, &res, 0, nullptr));
        ASSERT_EQ(all.asked, m_plain.Get());
    }

    void CompareWalkByKeys(const AnyKeyFinder& finder) {
        const Strings& strings = m_plain.Get();
        const auto expected = std::find_if(strings.begin(), strings.end(),
                                           [&](const std::string& s) { return finder.Match(s); });
        std::string res;
        std::string matched = "-";
        ASSERT_EQ(m_list.Find(finder, &res, 0, &matched), expected != strings.end());
        ASSERT_EQ(matched, expected != strings.end() ? *expected : "-");
    }

    Random m_random;
    StringList m_list;
    PlainList m_plain;
};

TEST(BinarySearch, FindsTheSameOfManyCaseVariants) {
    // More than 16, up to which std::sort keeps the order of equal strings.
    for (int variants : {15, 16, 17, 40, 200}) {
        StringList list;
        PlainList plain;
        for (int i = 0; i < variants; ++i) {
            std::string text = "case-variant";
            for (std::size_t bit = 0; bit < 10; ++bit)
                if ((i * 37 >> bit & 1) != 0)
                    text[bit < 4 ? bit : bit + 1] -= 'a' - 'A';
            for (const std::string& value : {text, "other" + std::to_string(i * 7 % 10)}) {
                list.Init(value);
                plain.Push(value);
            }
        }
        for (const std::string text : {"case-variant", "CASE-VARIANT", "OTHER3"}) {
            std::string expected, matched;
            EXPECT_TRUE(plain.Find(text, NOCASE, &expected));
            EXPECT_TRUE(list.Find(ProbeFinder(text), nullptr, NOCASE, &matched));
            EXPECT_EQ(matched, expected) << variants << " variants";
        }
    }
}

TEST(BinarySearch, AnswersAsAPlainBinarySearch) {
    for (int seed = 1; seed <= Rounds(250); ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        ASSERT_NO_FATAL_FAILURE(Comparison(seed).Run());
    }
}

} // namespace
