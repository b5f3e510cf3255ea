// SPDX-License-Identifier: MIT
#include "kwlog/Logging.h"

#include "text/FileDescriptor.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <sched.h>
#include <string>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

using log4cxx::Level;

namespace {

using namespace kwlookup;

/// Opens a daemon's end of /dev/log, in a /dev that only this process sees. Empty when the system
/// does not allow that.
FileDescriptor ListenAsSyslogDaemon() {
    if (::unshare(CLONE_NEWNS) != 0 ||
        ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        ::mount("none", "/dev", "tmpfs", 0, nullptr) != 0)
        return FileDescriptor();
    FileDescriptor daemon(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::string("/dev/log").copy(address.sun_path, sizeof(address.sun_path));
    if (::bind(daemon.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0)
        return FileDescriptor();
    return daemon;
}

/// Returns the next message without its date, or an empty text when there is none.
std::string NextMessage(const FileDescriptor& daemon) {
    char buffer[4096];
    const ssize_t size = ::recv(daemon.Get(), buffer, sizeof(buffer), MSG_DONTWAIT);
    if (size < 0)
        return std::string();
    std::string message(buffer, static_cast<std::size_t>(size));
    message.erase(message.find('>') + 1, std::string("Mmm dd hh:mm:ss ").size());
    return message;
}

/// Runs `body` in a child process and returns its result.
template <typename Body>
std::string InChild(Body body) {
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0)
        return "no pipe";
    const FileDescriptor read_end(ends[0]);
    FileDescriptor write_end(ends[1]);
    const pid_t child = ::fork();
    if (child == 0) {
        const std::string text = body();
        const bool written =
            ::write(write_end.Get(), text.data(), text.size()) == static_cast<ssize_t>(text.size());
        ::_exit(written ? 0 : 1);
    }
    write_end = FileDescriptor();
    std::string text;
    char block[4096];
    for (ssize_t got; (got = ::read(read_end.Get(), block, sizeof(block))) > 0;)
        text.append(block, static_cast<std::size_t>(got));
    int status = 0;
    ::waitpid(child, &status, 0);
    return status == 0 ? text : "the child failed";
}

const char NOT_ALLOWED[] = "not allowed";

TEST(Syslog, MessagesArriveWithNameFacilityAndLevel) {
    const std::string messages = InChild([] {
        const FileDescriptor daemon = ListenAsSyslogDaemon();
        if (!daemon)
            return std::string(NOT_ALLOWED);
        const LogClass early("early");
        SetLogging(LogTarget::Syslog, Level::LEVEL_DEBUG, "maild");
        early.forcedLog(Level::LEVEL_ERROR, "one\ntwo \\ %s {}");
        LogClass("later").forcedLog(Level::LEVEL_WARN, "\xff");
        early.forcedLog(Level::LEVEL_DEBUG, "");
        // A host may change the level while it runs.
        SetLogging(LogTarget::Syslog, Level::LEVEL_ERROR, "renamed");
        early.forcedLog(Level::LEVEL_WARN, "again");
        std::string all = early.isWarnEnabled() ? "the level did not change\n" : "";
        for (std::string message; !(message = NextMessage(daemon)).empty();)
            all += message + "\n";
        const std::string pid = "[" + std::to_string(::getpid()) + "]";
        for (std::size_t at; (at = all.find(pid)) != std::string::npos;)
            all.replace(at, pid.size(), "[PID]");
        return all;
    });
    if (messages == NOT_ALLOWED)
        GTEST_SKIP() << "a private /dev needs the rights of root";
    // Facility mail is 2: 2 * 8 + level.
    EXPECT_EQ(messages, "<19>maild[PID]: early: error: one\\x0atwo \\x5c %s {}\n"
                        "<20>maild[PID]: later: warning: \\xff\n"
                        "<23>maild[PID]: early: debug: \n"
                        "<20>renamed[PID]: early: warning: again\n");
}

TEST(Syslog, WithoutADaemonOnlyMessagesAreLost) {
    const std::string outcome = InChild([] {
        const LogClass log("name");
        SetLogging(LogTarget::Syslog, Level::LEVEL_DEBUG, "kwlookup-test");
        const std::string enabled = log.isDebugEnabled() ? "enabled" : "not enabled";
        // A real daemon, if there is one, gets one debug line.
        log.forcedLog(Level::LEVEL_DEBUG, "test\n");
        SetLogging(LogTarget::StandardError, Level::LEVEL_WARN);
        return enabled;
    });
    EXPECT_EQ(outcome, "enabled");
}

} // namespace
