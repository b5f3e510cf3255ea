// SPDX-License-Identifier: MIT
#include "tools/kwlookupd/net/Listening.h"

#include "text/SystemError.h"
#include "tools/kwlookupd/net/SystemAccounts.h"
#include "tools/kwlookupd/net/Systemd.h"

#include <boost/asio/ip/tcp.hpp>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>
#include <utility>

namespace kwlookup {

namespace {

constexpr char UNIX_PREFIX[] = "unix:";
constexpr char SYSTEMD_PREFIX[] = "systemd:";

/// Throws the reason in errno.
[[noreturn]] void ThrowListenError(const std::string& address) {
    throw std::runtime_error("cannot listen at " + address + ": " + SystemErrorText(errno));
}

bool HasPrefix(const std::string& text, const char* prefix) {
    return text.rfind(prefix, 0) == 0;
}

std::string GetSetting(const std::map<std::string, std::string>& settings, const char* name) {
    const auto found = settings.find(name);
    return found == settings.end() ? std::string() : found->second;
}

mode_t ReadMode(const std::string& text) {
    unsigned mode = 0;
    const char* end = text.data() + text.size();
    const auto read = std::from_chars(text.data(), end, mode, 8);
    if (read.ec != std::errc() || read.ptr != end || mode > 0777)
        throw std::invalid_argument("Mode: \"" + text + "\" is no mode such as 0660");
    return mode;
}

FileDescriptor OpenSocket(int family, const std::string& address) {
    FileDescriptor fd(::socket(family, SOCK_STREAM, 0));
    if (!fd)
        ThrowListenError(address);
    ::fcntl(fd.Get(), F_SETFD, FD_CLOEXEC);
    return fd;
}

/// Returns a socket that is bound to the address, and whether bind(2) succeeded.
std::pair<FileDescriptor, bool> BindTcp(const std::string& address) {
    namespace ip = boost::asio::ip;
    const std::size_t colon = address.rfind(':');
    std::string host = address.substr(0, colon);
    if (host.size() > 1 && host.front() == '[' && host.back() == ']')
        host = host.substr(1, host.size() - 2);
    boost::system::error_code error;
    const ip::address parsed = ip::make_address(host, error);
    std::uint16_t port = 0;
    const char* end = address.data() + address.size();
    const bool has_port = colon != std::string::npos && colon + 1 < address.size();
    const auto read = has_port ? std::from_chars(address.data() + colon + 1, end, port)
                               : std::from_chars_result{end, std::errc::invalid_argument};
    if (error || read.ec != std::errc() || read.ptr != end)
        throw std::invalid_argument("Address: \"" + address +
                                    "\" is not like 127.0.0.1:8823, [::1]:8823, unix:/path or "
                                    "systemd:NAME");
    const ip::tcp::endpoint endpoint(parsed, port);
    FileDescriptor fd = OpenSocket(endpoint.protocol().family(), address);
    const int on = 1;
    ::setsockopt(fd.Get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    if (parsed.is_v6())
        ::setsockopt(fd.Get(), IPPROTO_IPV6, IPV6_V6ONLY, &on, sizeof on);
    const bool bound =
        ::bind(fd.Get(), endpoint.data(), static_cast<socklen_t>(endpoint.size())) == 0;
    return {std::move(fd), bound};
}

FileDescriptor ListenTcp(const std::string& address) {
    std::pair<FileDescriptor, bool> tcp = BindTcp(address);
    if (!tcp.second || ::listen(tcp.first.Get(), SOMAXCONN) != 0)
        ThrowListenError(address);
    return std::move(tcp.first);
}

/// True if there is a socket at the path.
bool IsSocketThere(const sockaddr_un& name, const std::string& address) {
    struct stat status {};
    if (::lstat(name.sun_path, &status) != 0)
        return false;
    if (!S_ISSOCK(status.st_mode))
        throw std::runtime_error("cannot listen at " + address + ": the file is no socket");
    return true;
}

/// Removes the socket file that a dead process has left.
void RemoveStaleSocket(const sockaddr_un& name, const std::string& address) {
    if (!IsSocketThere(name, address))
        return;
    const FileDescriptor probe = OpenSocket(AF_UNIX, address);
    ::fcntl(probe.Get(), F_SETFL, O_NONBLOCK); // a full backlog would make it wait
    if (::connect(probe.Get(), reinterpret_cast<const sockaddr*>(&name), sizeof name) == 0 ||
        errno != ECONNREFUSED)
        throw std::runtime_error("cannot listen at " + address + ": another process does");
    if (::unlink(name.sun_path) != 0)
        ThrowListenError(address);
}

/// The settings of a UNIX socket.
struct UnixSocket {
    UnixSocket(const std::string& address, const std::map<std::string, std::string>& settings);

    sockaddr_un name{};
    mode_t mode = 0660;
    uid_t owner = static_cast<uid_t>(-1); ///< leaves it as it is
    gid_t group = static_cast<gid_t>(-1);
};

UnixSocket::UnixSocket(const std::string& address,
                       const std::map<std::string, std::string>& settings) {
    const std::string path = address.substr(sizeof UNIX_PREFIX - 1);
    name.sun_family = AF_UNIX;
    if (path.empty() || path[0] != '/' || path.size() >= sizeof name.sun_path)
        throw std::invalid_argument("Address: \"" + address +
                                    "\" needs an absolute path of at most " +
                                    std::to_string(sizeof name.sun_path - 1) + " bytes");
    std::memcpy(name.sun_path, path.data(), path.size());
    const std::string mode_text = GetSetting(settings, "mode");
    const std::string owner_name = GetSetting(settings, "owner");
    const std::string group_name = GetSetting(settings, "group");
    if (!mode_text.empty())
        mode = ReadMode(mode_text);
    if (!owner_name.empty())
        owner = FindUser(owner_name);
    if (!group_name.empty())
        group = FindGroup(group_name);
}

FileDescriptor ListenUnix(const std::string& address,
                          const std::map<std::string, std::string>& settings) {
    const auto [name, mode, owner, group] = UnixSocket(address, settings);
    RemoveStaleSocket(name, address);
    FileDescriptor fd = OpenSocket(AF_UNIX, address);
    // Nobody can connect before the mode and the owner are right.
    const mode_t old_mask = ::umask(0777);
    const int bound = ::bind(fd.Get(), reinterpret_cast<const sockaddr*>(&name), sizeof name);
    const int bind_error = errno;
    ::umask(old_mask);
    errno = bind_error;
    if (bound != 0 ||
        ((owner != static_cast<uid_t>(-1) || group != static_cast<gid_t>(-1)) &&
         ::chown(name.sun_path, owner, group) != 0) ||
        ::chmod(name.sun_path, mode) != 0 || ::listen(fd.Get(), SOMAXCONN) != 0)
        ThrowListenError(address);
    return fd;
}

} // namespace

FileDescriptor Listen(const std::string& address,
                      const std::map<std::string, std::string>& settings) {
    FileDescriptor fd = HasPrefix(address, UNIX_PREFIX) ? ListenUnix(address, settings)
                        : HasPrefix(address, SYSTEMD_PREFIX)
                            ? TakeSystemdSocket(address.substr(sizeof SYSTEMD_PREFIX - 1))
                            : ListenTcp(address);
    ::fcntl(fd.Get(), F_SETFL, O_NONBLOCK);
    return fd;
}

void CheckListening(const std::string& address,
                    const std::map<std::string, std::string>& settings) {
    if (HasPrefix(address, SYSTEMD_PREFIX))
        return;
    if (HasPrefix(address, UNIX_PREFIX)) {
        const UnixSocket socket(address, settings);
        const std::string path = socket.name.sun_path;
        if (!IsSocketThere(socket.name, address) &&
            ::access(path.substr(0, path.rfind('/') + 1).c_str(), W_OK | X_OK) != 0)
            ThrowListenError(address);
    } else if (!BindTcp(address).second && errno != EADDRINUSE) {
        ThrowListenError(address);
    }
}

std::string GetAddress(int socket) {
    sockaddr_storage storage{};
    socklen_t size = sizeof storage;
    if (::getsockname(socket, reinterpret_cast<sockaddr*>(&storage), &size) != 0)
        return {};
    if (storage.ss_family == AF_UNIX) {
        sockaddr_un name{};
        std::memcpy(&name, &storage, sizeof name);
        return std::string(UNIX_PREFIX) + name.sun_path;
    }
    boost::asio::ip::tcp::endpoint endpoint;
    std::memcpy(endpoint.data(), &storage, std::min<std::size_t>(size, endpoint.capacity()));
    const std::string host = endpoint.address().to_string();
    return (endpoint.address().is_v6() ? "[" + host + "]" : host) + ":" +
           std::to_string(endpoint.port());
}

void RemoveSocketFile(int socket) {
    const std::string address = GetAddress(socket);
    if (HasPrefix(address, UNIX_PREFIX))
        ::unlink(address.c_str() + sizeof UNIX_PREFIX - 1);
}

} // namespace kwlookup
