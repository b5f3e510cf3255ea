// SPDX-License-Identifier: MIT
#include "text/UpperRanges.h"

#include "lookup/builtin/FoldedHash.h"
#include "support/TestLocale.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <ostream>
#include <random>
#include <string>
#include <vector>

namespace {

using namespace kwlookup;

struct Case {
    const char* name;
    UpperRanges::Table table;
    bool few;
};

void PrintTo(const Case& each, std::ostream* output) {
    *output << each.name;
}

std::vector<Case> Cases() {
    UpperRanges::Table same;
    for (std::size_t byte = 0; byte < same.size(); ++byte)
        same[byte] = static_cast<char>(byte);
    std::vector<Case> cases = {{"no letters", same, true}};
    cases.push_back({"ASCII", TestBytes().upper, true});
    cases.push_back({"Latin-1", TestBytes::Latin1().upper, true});
    UpperRanges::Table table = same;
    for (std::size_t byte = 0xc0; byte < 0xe0; ++byte)
        table[byte] = static_cast<char>(byte + 0x20);
    cases.push_back({"upper case above lower case", table, true});
    table = same;
    table[0] = 'a';
    table[255] = 'b';
    cases.push_back({"the first and the last byte", table, true});
    for (std::size_t byte = 1; byte <= 11; byte += 2)
        table[byte] = 'c';
    cases.push_back({"eight ranges", table, true});
    table[13] = 'c';
    cases.push_back({"nine ranges", table, false});
    std::reverse_copy(same.begin(), same.end(), table.begin());
    cases.push_back({"each byte has a distance of its own", table, false});
    return cases;
}

class UpperRangesTest : public testing::TestWithParam<Case> {};

TEST_P(UpperRangesTest, FoldsAsTheTable) {
    const UpperRanges ranges(GetParam().table);
    ASSERT_EQ(ranges.AreFew(), GetParam().few);
    if (!ranges.AreFew())
        return;
    std::array<char, UpperRanges::BLOCK> bytes, folded;
    for (std::size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<char>(i);
    ranges.Fold(bytes.data(), folded.data());
    EXPECT_EQ(folded, GetParam().table);
    ranges.Fold(bytes.data(), bytes.data());
    EXPECT_EQ(bytes, folded);
}

TEST_P(UpperRangesTest, LongTextsCompareAndHashAsTheirUpperCaseForms) {
    const UpperRanges::Table& table = GetParam().table;
    const UpperRanges ranges(table);
    const TableUpper fold{table, ranges};
    const HashSeed seed = HashSeed::Random();
    std::mt19937 random(1);
    for (std::size_t size = 0; size < 4 * UpperRanges::BLOCK + 3; size += 1 + size / 100) {
        SCOPED_TRACE(size);
        std::string text(size, '\0');
        for (char& c : text)
            c = static_cast<char>(random());
        std::string upper = text;
        for (char& c : upper)
            c = table[static_cast<unsigned char>(c)];
        // Shorter ones are filled up with zeros, which a table may change.
        if (size >= 8) {
            EXPECT_EQ(Hash(fold, text, seed), Hash(AsTheyAre(), upper, seed));
        }
        EXPECT_TRUE(Equal(fold, text, text));
        if (size == 0)
            continue;
        const std::size_t place = random() % size;
        std::string other = text;
        other[place] = static_cast<char>(random());
        std::string other_upper = other;
        for (char& c : other_upper)
            c = table[static_cast<unsigned char>(c)];
        EXPECT_EQ(Equal(fold, text, other), upper == other_upper) << place;
    }
}

INSTANTIATE_TEST_SUITE_P(, UpperRangesTest, testing::ValuesIn(Cases()), [](const auto& each) {
    std::string name = each.param.name;
    name.erase(std::remove_if(name.begin(), name.end(),
                              [](char c) { return !std::isalnum(static_cast<unsigned char>(c)); }),
               name.end());
    return name;
});

} // namespace
