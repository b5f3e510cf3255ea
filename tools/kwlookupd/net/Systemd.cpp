// SPDX-License-Identifier: MIT
#include "tools/kwlookupd/net/Systemd.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <set>
#include <stdexcept>
#include <string_view>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace kwlookup {

namespace {

/// The number of the first descriptor that is passed.
constexpr int FIRST_SOCKET = 3;

/// The number in an environment variable, or 0.
long ReadVariable(const char* name) {
    long number = 0;
    if (const char* text = std::getenv(name))
        std::from_chars(text, text + std::strlen(text), number);
    return number;
}

} // namespace

FileDescriptor TakeSystemdSocket(const std::string& name) {
    static std::set<int> taken;
    const int count =
        ReadVariable("LISTEN_PID") == ::getpid() ? static_cast<int>(ReadVariable("LISTEN_FDS")) : 0;
    const char* variable = std::getenv("LISTEN_FDNAMES");
    std::string_view names = variable ? variable : "";
    for (int fd = FIRST_SOCKET; fd < FIRST_SOCKET + count; ++fd) {
        const std::string_view its_name = names.substr(0, names.find(':'));
        names.remove_prefix(std::min(its_name.size() + 1, names.size()));
        const std::string number = std::to_string(fd - FIRST_SOCKET + 1);
        if ((its_name == name || number == name) && taken.insert(fd).second) {
            ::fcntl(fd, F_SETFD, FD_CLOEXEC);
            return FileDescriptor(fd);
        }
    }
    throw std::runtime_error("systemd has no socket " + name + " for this process");
}

void NotifySystemd(const std::string& state) {
    const char* path = std::getenv("NOTIFY_SOCKET");
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (!path || (path[0] != '/' && path[0] != '@') || std::strlen(path) >= sizeof address.sun_path)
        return;
    const std::size_t length = std::strlen(path);
    std::memcpy(address.sun_path, path, length);
    if (path[0] == '@') // an abstract name
        address.sun_path[0] = '\0';
    const FileDescriptor fd(::socket(AF_UNIX, SOCK_DGRAM, 0));
    if (fd)
        ::sendto(fd.Get(), state.data(), state.size(), MSG_NOSIGNAL | MSG_DONTWAIT,
                 reinterpret_cast<const sockaddr*>(&address),
                 static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + length));
}

std::chrono::microseconds GetWatchdogTime() {
    const long pid = ReadVariable("WATCHDOG_PID");
    if (pid != 0 && pid != ::getpid())
        return {};
    return std::chrono::microseconds(std::max(ReadVariable("WATCHDOG_USEC"), 0L));
}

} // namespace kwlookup
