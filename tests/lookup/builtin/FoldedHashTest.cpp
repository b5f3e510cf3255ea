// SPDX-License-Identifier: MIT
#include "lookup/builtin/FoldedHash.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <set>
#include <string>
#include <string_view>

namespace {

using namespace kwlookup;

/// Counts the words hashed.
struct CountingFold {
    static constexpr bool HAS_BLOCKS = false;

    std::size_t& count;

    std::uint64_t operator()(std::uint64_t word) const {
        ++count;
        return AsciiUpper()(word);
    }
};

std::string RandomText(std::mt19937& random, std::size_t size) {
    std::string text(size, '\0');
    for (char& c : text)
        c = static_cast<char>(random());
    return text;
}

TEST(FoldedHash, HashesAllEndingsInOnePass) {
    constexpr std::size_t SIZE = 4096;
    std::mt19937 random(1);
    const std::string text = RandomText(random, SIZE);
    const HashSeed seed = {random() | 1u, random() | 1u};
    std::size_t count = 0;
    HashedEnding done;
    for (std::size_t size = 0; size <= SIZE; ++size)
        Hash(CountingFold{count}, std::string_view(text).substr(SIZE - size), seed, done);
    EXPECT_LE(count, 2 * (SIZE + 1) + SIZE / 8);
}

TEST(FoldedHash, HashOfAnEndingIsThatOfItsBytes) {
    std::mt19937 random(2);
    const HashSeed seed = {random() | 1u, random() | 1u};
    const std::string texts[] = {RandomText(random, 900), RandomText(random, 900)};
    const LocaleBytes& bytes = LocaleBytes::Current();
    const TableUpper upper{bytes.GetUpperTable(), bytes.GetUpperRanges()};
    HashedEnding done, done_upper;
    for (int i = 0; i < 20000; ++i) {
        const std::string_view text = texts[random() % 8 == 0];
        const std::string_view part =
            text.substr(random() % (text.size() + 1), random() % 3 == 0 ? random() % 40 : 900);
        const std::string copy(part);
        EXPECT_EQ(Hash(AsTheyAre(), part, seed, done), Hash(AsTheyAre(), copy, seed));
        EXPECT_EQ(Hash(upper, part, seed, done_upper), Hash(AsciiUpper(), copy, seed));
    }
}

TEST(FoldedHash, HashesOfDifferentTextsDiffer) {
    const HashSeed seed = {0x123456789abcdef1, 0xfedcba987654321};
    std::set<std::uint64_t> hashes;
    std::size_t texts = 0;
    for (const char byte : {'a', 'b', '\0', ' '})
        for (std::size_t size = 1; size <= 200; ++size, ++texts)
            hashes.insert(Hash(AsTheyAre(), std::string(size, byte), seed));
    for (std::size_t i = 0; i < 100; ++i, ++texts) {
        std::string text(100, 'a');
        text[i] = 'c';
        hashes.insert(Hash(AsTheyAre(), text, seed));
    }
    EXPECT_EQ(hashes.size(), texts);
}

} // namespace
