// SPDX-License-Identifier: MIT
#include "plugins/ldap/LdapMessageIds.h"

#include <gmock/gmock.h>

#include <cstdint>
#include <string>
#include <vector>

using kwlookup::LdapMessageIds;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using Ids = std::vector<std::uint32_t>;

/// The numbers that are found in `bytes`, which come in pieces of `size`.
Ids Read(const std::string& bytes, std::size_t size) {
    LdapMessageIds ids;
    Ids found;
    for (std::size_t at = 0; at < bytes.size(); at += size)
        ids.Read(bytes.substr(at, size), [&found](std::uint32_t id) { found.push_back(id); });
    return found;
}

TEST(LdapMessageIds, AreFoundInPiecesOfAnySize) {
    using namespace std::string_literals;
    const std::string longer(300, '\x30');
    const std::string messages = "\x30\x05\x02\x01\x07"
                                 "ab"
                                 "\x30\x82\x01\x30\x02\x02\x01\x00"s +
                                 longer +
                                 "\x30\x84\x00\x00\x00\x06\x02\x04\x7f\xff\xff\xfe"
                                 "\x30\x03\x02\x01\x00"s;
    for (std::size_t size = 1; size <= messages.size(); ++size)
        EXPECT_THAT(Read(messages, size), ElementsAre(7, 256, 0x7ffffffe, 0)) << size;
}

TEST(LdapMessageIds, EndWithWhatIsNoLdap) {
    using namespace std::string_literals;
    const std::string good = "\x30\x03\x02\x01\x05"s;
    for (const std::string& bad : {
             "\x31\x03\x02\x01\x07"s,                 // another tag
             "\x30\x03\x04\x01\x07"s,                 // no number
             "\x30\x07\x02\x05\x01\x01\x01\x01\x01"s, // a number that is too long
             "\x30\x02\x02\x00"s,                     // an empty one
             "\x30\x89\x01"s,                         // a length that is too long
             "\x30\xff\xff\xff\xff"s,
         })
        EXPECT_THAT(Read(good + bad + good, 3), ElementsAre(5)) << testing::PrintToString(bad);
    // The number is there, but goes beyond its message.
    EXPECT_THAT(Read("\x30\x02\x02\x01\x07"s + good, 3), ElementsAre(7));
    EXPECT_THAT(Read("", 1), IsEmpty());
}

} // namespace
