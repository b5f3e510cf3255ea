// SPDX-License-Identifier: MIT
#include "families/servers/ServerList.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace kwlookup {
namespace {

using namespace std::string_literals;

/// The names of the servers, separated by blanks, or the message of the exception.
std::string Read(const std::string& text) {
    try {
        std::string names;
        for (const Server& server : ParseServerList(text, 6379))
            names += (names.empty() ? "" : " ") + server.GetName();
        return names;
    } catch (const std::invalid_argument& error) {
        return error.what();
    }
}

std::string Refused(const std::string& item) {
    return "Wrong Hosts setting [" + item + "]: wait HOST[:PORT], [ADDRESS][:PORT] or unix:/PATH";
}

TEST(ServerList, Reads) {
    const std::string longest_path(107 - 1, 'x');
    const struct {
        std::string text;
        std::string names;
    } cases[] = {
        {"a", "a:6379"},
        {"a:1", "a:1"},
        {"a:65535", "a:65535"},
        {"db-1.corp_x.lan:5432", "db-1.corp_x.lan:5432"},
        {"127.0.0.1", "127.0.0.1:6379"},
        {"[::1]", "[::1]:6379"},
        {"[::1]:5432", "[::1]:5432"},
        {"::1", "[::1]:6379"},
        {"fe80::1%eth0", "[fe80::1%eth0]:6379"},
        {"[fe80::1%eth0]:1", "[fe80::1%eth0]:1"},
        {"unix:/run/a.sock", "unix:/run/a.sock"},
        {"unix:/run/a b:1", "unix:/run/a b:1"},
        {"unix:/" + longest_path, "unix:/" + longest_path},
        {"a:1, [::1]:2 ,unix:/x", "a:1 [::1]:2 unix:/x"},
        {" a:1\t,\r\nb ", "a:1 b:6379"},
        {"a, a:6379, b, a", "a:6379 b:6379"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(Read(c.text), c.names) << c.text;
}

TEST(ServerList, Refuses) {
    EXPECT_EQ(Read(""), "Hosts is not set");
    EXPECT_EQ(Read(" \t"), "Hosts is not set");
    for (const std::string& item : {"a:"s,      "a:0"s,
                                    "a:65536"s, "a:-1"s,
                                    "a:+1"s,    "a: 1"s,
                                    "a:1x"s,    "a:0x1"s,
                                    ":1"s,      "a b"s,
                                    "-a"s,      "a/b"s,
                                    "a@b"s,     "a'b"s,
                                    "a=b"s,     "[::1"s,
                                    "[::1]1"s,  "[]:1"s,
                                    "[::1]:"s,  "[a b]"s,
                                    "[a]:1"s,   "[127.0.0.1]"s,
                                    "unix"s,    "unix:"s,
                                    "unix:a"s,  "unix:/"s + std::string(107, 'x'),
                                    "\xe9"s,    std::string(256, 'a')})
        EXPECT_EQ(Read(item), Refused(item)) << item;
    for (const std::string& item : {"unix:/a\0b"s, "a\0b"s, "\0"s})
        EXPECT_THAT(Read(item), testing::StartsWith("Wrong Hosts setting [")) << item;
    for (const char* list : {",", "a,", ",a", "a,,b"})
        EXPECT_EQ(Read(list), Refused("")) << list;
}

} // namespace
} // namespace kwlookup
