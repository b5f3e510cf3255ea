// SPDX-License-Identifier: MIT
#include "tools/kwlookupd/net/Listening.h"

#include "kwlookupd/Client.h"
#include "support/TempDir.h"
#include "tools/kwlookupd/net/AccessRules.h"
#include "tools/kwlookupd/net/SystemAccounts.h"
#include "tools/kwlookupd/net/Systemd.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <functional>
#include <poll.h>
#include <pwd.h>
#include <stdexcept>
#include <string>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using kwlookup::AccessRules;
using kwlookup::FileDescriptor;
using kwlookup::GetAddress;
using kwlookup::Listen;
using Settings = std::map<std::string, std::string>;

std::string ListenError(const std::string& address, const Settings& settings = {}) {
    try {
        Listen(address, settings);
    } catch (const std::exception& e) {
        return e.what();
    }
    return "none";
}

std::string RulesError(const Settings& settings) {
    try {
        const AccessRules rules(settings);
    } catch (const std::invalid_argument& e) {
        return e.what();
    }
    return "none";
}

/// Accepts the connection of a client.
FileDescriptor Accept(const FileDescriptor& listening) {
    pollfd waited{listening.Get(), POLLIN, 0};
    ::poll(&waited, 1, 30000);
    return FileDescriptor(::accept(listening.Get(), nullptr, nullptr));
}

/// The exit status of a process that runs `run`, which returns true if all was well.
int RunInChild(const std::function<bool()>& run) {
    const pid_t pid = ::fork();
    if (pid == 0) {
        bool good = false;
        try {
            good = run();
        } catch (const std::exception&) { // is a failure
        }
        ::_exit(good ? 0 : 1);
    }
    int status = 0;
    ::waitpid(pid, &status, 0);
    return status;
}

std::string OwnName() {
    return ::getpwuid(::getuid())->pw_name;
}

} // namespace

TEST(ListeningTest, ListensAtAddresses) {
    const TempDir dir;
    for (const std::string& address :
         {std::string("127.0.0.1:0"), std::string("[::1]:0"), "unix:" + dir.Path("socket")}) {
        const FileDescriptor listening = Listen(address, {});
        EXPECT_EQ(GetAddress(listening.Get()).substr(0, 5), address.substr(0, 5));
        Client client(GetAddress(listening.Get()));
        EXPECT_TRUE(Accept(listening));
        EXPECT_EQ(ListenError(GetAddress(listening.Get())),
                  "cannot listen at " + GetAddress(listening.Get()) +
                      (address[0] == 'u' ? ": another process does" : ": Address already in use"));
    }
}

TEST(ListeningTest, TellsWhatIsWrongWithAnAddress) {
    for (const std::string address : {"", "8823", "localhost:8823", "127.0.0.1", "127.0.0.1:",
                                      "127.0.0.1:65536", "127.0.0.1:1x", "127.0.0.1:-1", "unix"})
        EXPECT_EQ(ListenError(address), "Address: \"" + address +
                                            "\" is not like 127.0.0.1:8823, [::1]:8823, unix:/path "
                                            "or systemd:NAME");
    EXPECT_EQ(ListenError("unix:relative"),
              "Address: \"unix:relative\" needs an absolute path of at most 107 bytes");
    EXPECT_THAT(ListenError("unix:/" + std::string(107, 'x')), testing::HasSubstr("at most 107"));
    EXPECT_EQ(ListenError("unix:/no/such/folder"),
              "cannot listen at unix:/no/such/folder: No such file or directory");
    const TempDir dir;
    const std::string address = "unix:" + dir.Path("socket");
    EXPECT_EQ(ListenError(address, {{"mode", "rw"}}), "Mode: \"rw\" is no mode such as 0660");
    EXPECT_EQ(ListenError(address, {{"mode", "0888"}}), "Mode: \"0888\" is no mode such as 0660");
    EXPECT_EQ(ListenError(address, {{"owner", "no-such"}}), "there is no user no-such");
    EXPECT_EQ(ListenError(address, {{"group", "no-such"}}), "there is no group no-such");
    EXPECT_EQ(ListenError("systemd:maps"), "systemd has no socket maps for this process");
}

TEST(ListeningTest, GivesASocketFileItsModeAndOwner) {
    const TempDir dir;
    const std::string path = dir.Path("socket");
    struct stat status {};
    {
        const FileDescriptor listening = Listen("unix:" + path, {});
        ASSERT_EQ(::stat(path.c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 0777, 0660U);
    }
    // The file of a dead process is in the way, and is replaced.
    const bool is_root = ::getuid() == 0;
    const FileDescriptor listening =
        Listen("unix:" + path, {{"mode", "0606"},
                                {"owner", is_root ? "nobody" : OwnName()},
                                {"group", is_root ? "65534" : std::to_string(::getgid())}});
    ASSERT_EQ(::stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0606U);
    EXPECT_EQ(status.st_uid, is_root ? ::getpwnam("nobody")->pw_uid : ::getuid());
    EXPECT_EQ(status.st_gid, is_root ? 65534 : ::getgid());
    kwlookup::RemoveSocketFile(listening.Get());
    EXPECT_NE(::stat(path.c_str(), &status), 0);

    const std::string file = dir.Write("file", "precious");
    EXPECT_EQ(ListenError("unix:" + file),
              "cannot listen at unix:" + file + ": the file is no socket");
    EXPECT_EQ(::stat(file.c_str(), &status), 0);
}

TEST(AccessRulesTest, AllowsNetworks) {
    struct Case {
        const char* rules;
        bool allows_v4, allows_v6;
    };
    const Case cases[] = {
        {"127.0.0.0/8", true, false},      {"127.0.0.1", true, false},
        {"127.0.0.2", false, false},       {"127.0.0.2/31, ::1", false, true},
        {"10.0.0.0/8, ::/0", false, true}, {"0.0.0.0/0", true, false},
        {"127.0.0.0/31 ::2", true, false},
    };
    const FileDescriptor v4 = Listen("127.0.0.1:0", {}), v6 = Listen("[::1]:0", {});
    const Client v4_client(GetAddress(v4.Get())), v6_client(GetAddress(v6.Get()));
    const FileDescriptor v4_socket = Accept(v4), v6_socket = Accept(v6);
    for (const Case& c : cases) {
        const AccessRules rules(Settings{{"allowfrom", c.rules}});
        EXPECT_EQ(rules.Allows(v4_socket.Get()), c.allows_v4) << c.rules;
        EXPECT_EQ(rules.Allows(v6_socket.Get()), c.allows_v6) << c.rules;
    }
    const Client other(GetAddress(v4.Get()), "127.0.0.2");
    EXPECT_TRUE(AccessRules(Settings{{"allowfrom", "127.0.0.2"}}).Allows(Accept(v4).Get()));
    EXPECT_TRUE(AccessRules(Settings()).Allows(v6_socket.Get()));
    for (const std::string wrong : {"localhost", "127.0.0.1/33", "127.0.0.1/", "::1/129", "1.2.3"})
        EXPECT_EQ(RulesError({{"allowfrom", wrong}}), "AllowFrom: \"" + wrong + "\" is no network");
}

TEST(AccessRulesTest, AllowsUsersAndGroups) {
    const TempDir dir;
    const FileDescriptor listening = Listen("unix:" + dir.Path("socket"), {});
    const Client client(GetAddress(listening.Get()));
    const FileDescriptor socket = Accept(listening);
    const std::string gid = std::to_string(::getgid());
    EXPECT_TRUE(AccessRules(Settings{{"allowfrom", "10.0.0.1"}}).Allows(socket.Get()));
    EXPECT_TRUE(AccessRules(Settings{{"allowuser", "4242, " + OwnName()}}).Allows(socket.Get()));
    EXPECT_TRUE(AccessRules(Settings{{"allowgroup", gid}}).Allows(socket.Get()));
    EXPECT_TRUE(
        AccessRules(Settings{{"allowuser", "4242"}, {"allowgroup", gid}}).Allows(socket.Get()));
    EXPECT_FALSE(AccessRules(Settings{{"allowuser", "4242"}}).Allows(socket.Get()));
    EXPECT_FALSE(AccessRules(Settings{{"allowgroup", "4242"}}).Allows(socket.Get()));
    EXPECT_EQ(RulesError({{"allowuser", "no-such"}}), "there is no user no-such");
    EXPECT_EQ(RulesError({{"allowgroup", "no-such"}}), "there is no group no-such");
}

TEST(SystemdTest, PassesSockets) {
    const FileDescriptor first = Listen("127.0.0.1:0", {}), second = Listen("127.0.0.1:0", {});
    EXPECT_EQ(RunInChild([&] {
                  const int high_first = ::fcntl(first.Get(), F_DUPFD, 10);
                  const int high_second = ::fcntl(second.Get(), F_DUPFD, 10);
                  ::dup2(high_first, 3);
                  ::dup2(high_second, 4);
                  ::setenv("LISTEN_PID", std::to_string(::getpid()).c_str(), 1);
                  ::setenv("LISTEN_FDS", "2", 1);
                  ::setenv("LISTEN_FDNAMES", "maps:tables", 1);
                  const FileDescriptor tables = Listen("systemd:tables", {});
                  const FileDescriptor by_number = Listen("systemd:1", {});
                  return GetAddress(tables.Get()) == GetAddress(high_second) &&
                         GetAddress(by_number.Get()) == GetAddress(high_first) &&
                         ListenError("systemd:maps") ==
                             "systemd has no socket maps for this process";
              }),
              0);
}

TEST(SystemAccountsTest, BecomesAnotherUserForGood) {
    if (::getuid() != 0) {
        EXPECT_NO_THROW(kwlookup::BecomeUser(OwnName()));
        EXPECT_THROW(kwlookup::BecomeUser("root"), std::system_error);
        return;
    }
    EXPECT_EQ(RunInChild([] {
                  kwlookup::BecomeUser("nobody");
                  const uid_t uid = ::getpwnam("nobody")->pw_uid;
                  return ::getuid() == uid && ::geteuid() == uid && ::getgid() != 0 &&
                         ::getgroups(0, nullptr) <= 1 && ::setuid(0) != 0;
              }),
              0);
    EXPECT_THROW(kwlookup::BecomeUser("no-such"), std::invalid_argument);
}
