// SPDX-License-Identifier: MIT
#include "tools/lists/HiddenKeys.h"

#include "kwhost/AddressFinder.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

namespace {

using namespace kwlookup;

// Few different letters, so that keys match texts.
std::string RandomText(std::mt19937& random, std::size_t longest) {
    constexpr char LETTERS[] = "aAb..@@";
    std::string text(1 + random() % longest, ' ');
    for (char& c : text)
        c = LETTERS[random() % (sizeof(LETTERS) - 1)];
    return text;
}

// Whatever a hidden key matches, the key that hides it matches too.
TEST(HiddenKeys, MatchNothingThatTheEarlierKeyDoesNotMatch) {
    std::mt19937 random(20261121);
    std::size_t hidden = 0, meetings = 0;
    for (int list = 0; list < 2000; ++list) {
        HiddenKeys finder;
        std::vector<std::string> keys;
        for (std::size_t line = 1; line <= 12; ++line) {
            keys.push_back(RandomText(random, 6));
            const HiddenKeys::Earlier earlier = finder.Add(keys.back(), line);
            if (earlier.line == 0)
                continue;
            ASSERT_LT(earlier.line, line);
            ++hidden;
            const std::string& other = keys[earlier.line - 1];
            std::vector<std::string> texts = {keys.back(), "x@" + keys.back(), "x" + keys.back(),
                                              keys.back() + "b.a", "<" + keys.back() + ">"};
            for (int i = 0; i < 20; ++i)
                texts.push_back(RandomText(random, 8));
            for (const std::string& text : texts) {
                if (!AddressFinder(text).Match(keys.back()))
                    continue;
                ++meetings;
                ASSERT_TRUE(AddressFinder(text).Match(other))
                    << "[" << other << "] hides [" << keys.back() << "] but for [" << text << "]";
            }
        }
    }
    EXPECT_GT(hidden, 1000u);
    EXPECT_GT(meetings, hidden);
}

} // namespace
