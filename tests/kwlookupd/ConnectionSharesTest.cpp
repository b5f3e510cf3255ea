// SPDX-License-Identifier: MIT
#include "tools/kwlookupd/net/ConnectionShares.h"

#include <gtest/gtest.h>

namespace kwlookup {
namespace {

TEST(ConnectionShares, ALoopThatCannotKeepUpGivesSomeAway) {
    const struct {
        int load, idlest_load;
        std::size_t connections, given;
    } cases[] = {{100, 0, 0, 0},    {100, 0, 1, 0},      {100, 0, 2, 1},  {100, 0, 3, 1},
                 {100, 0, 16, 4},   {95, 65, 16, 1},     {95, 66, 16, 0}, {94, 0, 16, 0},
                 {100, 100, 16, 0}, {95, 0, 10000, 2500}};
    for (const auto& c : cases)
        EXPECT_EQ(CountToGive(c.load, c.idlest_load, c.connections), c.given)
            << c.load << ' ' << c.idlest_load << ' ' << c.connections;
}

TEST(ConnectionShares, ALoopWithRoomGetsWhatItCanServe) {
    const struct {
        int load, load_before;
        std::size_t connections, returned;
    } cases[] = {{40, 40, 16, 16}, {0, 0, 3, 3},    {60, 60, 1, 0},  {60, 60, 16, 8},
                 {15, 79, 4, 2},   {90, 80, 16, 0}, {100, 0, 10, 9}, {5, 95, 16, 0}};
    for (const auto& c : cases)
        EXPECT_EQ(CountToReturn(c.load, c.load_before, c.connections), c.returned)
            << c.load << ' ' << c.load_before << ' ' << c.connections;
}

} // namespace
} // namespace kwlookup
