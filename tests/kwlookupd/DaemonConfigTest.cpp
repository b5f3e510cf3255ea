// SPDX-License-Identifier: MIT
#include "tools/kwlookupd/DaemonConfig.h"

#include "support/TempDir.h"
#include "tools/lists/Plugin.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/stat.h>

using namespace kwlookup;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

namespace {

constexpr char DOOR[] = "[door d]\nProtocol = tcp\nAddress = 127.0.0.1:1\n";

/// Reads a configuration with this text, from a file named "c". Messages lose its directory.
DaemonConfig ReadText(const std::string& text) {
    RegisterOwnTypes();
    const TempDir dir;
    const std::string name = dir.Write("c", text);
    ::chmod(name.c_str(), 0644);
    DaemonConfig config = ReadDaemonConfig(name);
    for (std::string& error : config.errors)
        error.erase(0, name.size() - 1);
    return config;
}

} // namespace

TEST(DaemonConfigTest, ReadsEachKey) {
    const DaemonConfig config =
        ReadText("[kwlookupd]\nIoThreads = 2\nworkers = 3\nAnswerTime = 800 ms\nSlowTime = 2\n"
                 "IdleTime = 5 m\nMaxConnections = 7\nMaxInFlight = 8\nUser = mail\n"
                 "Control = /c\nLog = syslog\nDebug = yes\nTypes = own, other\n"
                 "[lookup_cdb]\nOnError = exception\n"
                 "[list one]\nObjects = a, \"b, c\"\nSubAddress = +-\n"
                 "Idn = yes\nMaxShrink = 5 %\nSettle = 1 h\n"
                 "[list another]\nObjects =\nSearch = Exact-NoCase\n"
                 "[door web]\nProtocol = HTTP\nAddress = unix:/a, [::1]:2\nLists = another, one\n"
                 "Token = abc\nMode = 0660\n"
                 "[door check]\nProtocol = policy\nAddress = 127.0.0.1:3\n"
                 "Ask = sender:one, sasl_username:another\n"
                 "[door all]\nProtocol = tcp\nAddress = 127.0.0.1:4\n");
    EXPECT_THAT(config.errors, IsEmpty());
    EXPECT_EQ(config.io_threads, 2u);
    EXPECT_EQ(config.workers, 3u);
    EXPECT_EQ(config.answer_time.count(), 800);
    EXPECT_EQ(config.slow_time.count(), 2000);
    EXPECT_EQ(config.idle_time.count(), 300000);
    EXPECT_EQ(config.max_connections, 7u);
    EXPECT_EQ(config.max_in_flight, 8u);
    EXPECT_EQ(config.user, "mail");
    EXPECT_EQ(config.control, "/c");
    EXPECT_TRUE(config.syslog);
    EXPECT_TRUE(config.debug);
    ASSERT_EQ(config.lists.size(), 2u);
    EXPECT_EQ(config.lists[0].name, "one");
    EXPECT_EQ(config.lists[0].objects, "a, \"b, c\"");
    EXPECT_EQ(config.lists[0].sub_address, "+-");
    EXPECT_TRUE(config.lists[0].idn);
    EXPECT_EQ(config.lists[0].max_shrink, 5u);
    EXPECT_EQ(config.lists[0].settle, std::chrono::hours(1));
    EXPECT_EQ(config.lists[1].name, "another");
    EXPECT_EQ(config.lists[1].search, ListSettings::Search::ExactNoCase);
    ASSERT_EQ(config.doors.size(), 3u);
    const DoorConfig& web = config.doors[0];
    EXPECT_EQ(web.protocol, "http");
    EXPECT_THAT(web.addresses, ElementsAre("unix:/a", "[::1]:2"));
    EXPECT_THAT(web.settings, ElementsAre(Pair("mode", "0660"), Pair("token", "abc")));
    ASSERT_EQ(web.lists.size(), 2u);
    EXPECT_EQ(web.lists[0].name, "another");
    EXPECT_EQ(web.lists[0].number, 1u);
    const DoorConfig& check = config.doors[1];
    EXPECT_THAT(check.lists, IsEmpty());
    ASSERT_EQ(check.rules.size(), 2u);
    EXPECT_EQ(check.rules[1].attribute, "sasl_username");
    EXPECT_EQ(check.rules[1].list.number, 1u);
    EXPECT_EQ(config.doors[2].lists.size(), 2u) << "a door without Lists and Ask has all lists";
}

TEST(DaemonConfigTest, TellsFileAndLineOfEachError) {
    const std::pair<std::string, const char*> cases[] = {
        {"[kwlookupd]\nIoThreads = 0\n", "c:2: 'IoThreads' must be a number from 1 to 256"},
        {"[kwlookupd]\nWorkers = 3x\n", "c:2: 'Workers' must be a number from 1 to 1024"},
        {"[kwlookupd]\nWorkers = 99999999999\n",
         "c:2: 'Workers' must be a number up to 4294967295"},
        {"[kwlookupd]\nAnswerTime = 5 weeks\n",
         "c:2: 'AnswerTime' must be a time, such as 900 ms, 2 s, 5 m, 1 h or 1 d"},
        {"[kwlookupd]\nAnswerTime = 0\n", "c:2: 'AnswerTime' must be more than 0"},
        {"[kwlookupd]\nColour = red\n", "c:2: unknown key 'Colour' in [kwlookupd]"},
        {"[kwlookupd]\nLog = paper\n", "c:2: 'Log' must be one of stderr, syslog"},
        {"[kwlookupd]\nTypes = a b\n", "c:2: 'Types' is wrong: 'a b' is not a type: the name of a "
                                       "type has a-z, 0-9, '_' and '-' only"},
        {"[colours]\n", "c:1: unknown section [colours]"},
        {"[list a]\nSearch = exact\n", "c:1: 'Objects' is missing in [list a]"},
        {"[list a]\nObjects =\nSearch = all\n",
         "c:3: 'Search' must be one of address, domain, exact, exact-nocase"},
        {"[list a]\nObjects =\nIdn = 1\n", "c:3: 'Idn' must be yes or no"},
        {"[list a]\nObjects =\nMaxShrink = 101 %\n",
         "c:3: 'MaxShrink' must be a number from 0 to 100"},
        {"[list a]\nObjects =\nSubAddress = @\n", "c:3: 'SubAddress' must not have '@' or '\"'"},
        {"[list a]\nObjects =\nSearch = domain\nSubAddress = +\n",
         "c:1: [list a]: SubAddress needs Search = address"},
        {"[list a]\nObjects =\nSearch = exact-nocase\nIdn = yes\n",
         "c:1: [list a]: Idn needs Search = address or domain"},
        {"[list a b]\nObjects =\n",
         "c:1: [list a b]: a name has letters, digits, '_', '-' and '.' only"},
        {"[door x]\nAddress = a\n", "c:1: 'Protocol' is missing in [door x]"},
        {"[door x]\nProtocol = tcp\n", "c:1: 'Address' is missing in [door x]"},
        {"[door x]\nProtocol = tcp\nAddress = a\nLists = b\n",
         "c:4: 'Lists' names the list 'b', which has no section"},
        {"[door x]\nProtocol = tcp\nAddress = a\nAsk = sender\n",
         "c:4: 'Ask' has 'sender', which is not ATTRIBUTE:LIST"},
        {"[door x]\nProtocol = tcp\nAddress = a\nToken = b\n",
         "c:4: unknown key 'Token' in [door x]"},
        {"[door x]\nProtocol = tcp\nAddress = a\nLists =\n", "c:4: 'Lists' has no value"},
        {"[door x]\nProtocol = tcp\nAddress = a\nAllowFrom = ,\n", "c:4: 'AllowFrom' has no value"},
        {"[door x]\nProtocol = tcp\nAddress = 127.0.0.1:2\nAllowUser = root\n",
         "c:1: [door x] has no UNIX socket, and AllowUser and AllowGroup hold for these only; use "
         "AllowFrom"},
        {"[door x]\nProtocol = tcp\nAddress = unix:/a\n[door y]\nProtocol = tcp\n"
         "Address = b, unix:/a\n",
         "c:4: [door y] has the address unix:/a, as has [door x]"},
        {"[door x]\nProtocol = tcp\nAddress = unix:/a, unix:/b\nAllowFrom = ::1\n",
         "c:1: [door x] has only UNIX sockets, and AllowFrom holds for others only; use AllowUser "
         "or AllowGroup"},
        {"[list a]\nObjects =\n[door x]\nProtocol = tcp\nAddress = a\nAsk = sender:a\n",
         "c:3: [door x]: Protocol tcp has no rules; use Lists in place of Ask"},
        {"[list a]\nObjects =\n[door x]\nProtocol = policy\nAddress = a\nAsk = sender:a\n"
         "Lists = a\n",
         "c:3: [door x]: Protocol policy needs rules; use Ask in place of Lists"},
        {"no section\n", "c:1: neither a section, nor a setting, nor a comment"},
    };
    for (const auto& [text, error] : cases)
        EXPECT_THAT(ReadText(text + DOOR).errors, ElementsAre(error)) << text;
    EXPECT_THAT(ReadText("[list l]\nObjects =\n[door a]\nProtocol = tcp\n"
                         "Address = 127.0.0.1:0, unix:/a\n"
                         "AllowUser = root\n[door b]\nProtocol = tcp\nAddress = 127.0.0.1:0\n")
                    .errors,
                IsEmpty());
    EXPECT_THAT(ReadText(DOOR).errors, ElementsAre("c: there is no [list NAME]"));
    EXPECT_THAT(ReadText("[list a]\nObjects =\n").errors,
                ElementsAre("c: there is no [door NAME]"));
}
