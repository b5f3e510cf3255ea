// SPDX-License-Identifier: MIT
#include "families/servers/Resolve.h"

#include "families/servers/PerProcess.h"
#include "families/servers/ServerFault.h"
#include "families/servers/StartThread.h"
#include "text/SystemError.h"

#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <cstring>
#include <memory>
#include <mutex>
#include <netdb.h>
#include <sys/un.h>
#include <system_error>

namespace kwlookup {
namespace {

/// Each thread has a stack, and more threads would only wait for the same resolver.
constexpr int MOST_THREADS = 16;

struct Resolved {
    int error = 0;
    int system_error = 0;
    std::vector<Address> addresses;
};

Resolved AskResolver(const std::string& host, const std::string& port, int flags) {
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = flags | AI_NUMERICSERV;
    addrinfo* list = nullptr;
    Resolved resolved;
    resolved.error = ::getaddrinfo(host.c_str(), port.c_str(), &hints, &list);
    resolved.system_error = errno;
    if (resolved.error != 0)
        return resolved;
    const std::unique_ptr<addrinfo, void (*)(addrinfo*)> owned(list, ::freeaddrinfo);
    for (const addrinfo* info = list; info; info = info->ai_next) {
        Address address{};
        address.size = info->ai_addrlen;
        std::memcpy(&address.bytes, info->ai_addr, info->ai_addrlen);
        resolved.addresses.push_back(address);
    }
    return resolved;
}

/// Shared by the thread and the search that waits for it.
struct Request {
    std::mutex lock;
    std::condition_variable done_changed;
    bool done = false;
    Resolved resolved;
};

/// Counts the threads of this process. Those of its parent do not run here.
class Counted {
public:
    Counted() : m_count(Running().Get()) { ++*m_count; }
    ~Counted() { --*m_count; }
    Counted(const Counted&) = delete;
    Counted& operator=(const Counted&) = delete;

    bool OneTooMany() const { return *m_count > MOST_THREADS; }

private:
    using Count = std::atomic<int>;

    static PerProcess<Count>& Running() {
        static auto& running = *new PerProcess<Count>([] { return std::make_shared<Count>(0); });
        return running;
    }

    const std::shared_ptr<Count> m_count;
};

Resolved AskInThread(const std::string& host, const std::string& port, Deadline deadline) {
    const auto counted = std::make_shared<const Counted>();
    if (counted->OneTooMany())
        throw ServerFault("too many name look-ups do not end");
    const auto request = std::make_shared<Request>();
    try {
        StartThread([request, counted, host, port] {
            Resolved resolved;
            try {
                resolved = AskResolver(host, port, 0);
            } catch (const std::bad_alloc&) {
                resolved.error = EAI_MEMORY;
            }
            const std::lock_guard<std::mutex> lock(request->lock);
            request->resolved = std::move(resolved);
            request->done = true;
            request->done_changed.notify_one();
        });
    } catch (const std::system_error& error) {
        throw ServerFault(error.what());
    }
    std::unique_lock<std::mutex> lock(request->lock);
    if (!request->done_changed.wait_until(lock, deadline.GetTime(), [&] { return request->done; }))
        throw ServerFault("name look-up took too long");
    return std::move(request->resolved);
}

} // namespace

std::string Address::GetHost() const {
    if (bytes.ss_family == AF_UNIX)
        return reinterpret_cast<const sockaddr_un*>(&bytes)->sun_path;
    char host[NI_MAXHOST];
    if (::getnameinfo(reinterpret_cast<const sockaddr*>(&bytes), size, host, sizeof(host), nullptr,
                      0, NI_NUMERICHOST) != 0)
        return {};
    return host;
}

std::vector<Address> Resolve(const Server& server, Deadline deadline) {
    if (server.IsUnix()) {
        Address address{};
        sockaddr_un local{};
        local.sun_family = AF_UNIX;
        std::memcpy(local.sun_path, server.path.c_str(), server.path.size() + 1);
        std::memcpy(&address.bytes, &local, sizeof(local));
        address.size = sizeof(local);
        return {address};
    }
    const std::string port = std::to_string(server.port);
    Resolved resolved = AskResolver(server.host, port, AI_NUMERICHOST);
    if (resolved.error == EAI_NONAME)
        resolved = AskInThread(server.host, port, deadline);
    if (resolved.error == EAI_SYSTEM)
        throw ServerFault(SystemErrorText(resolved.system_error));
    if (resolved.error != 0)
        throw ServerFault(::gai_strerror(resolved.error));
    return std::move(resolved.addresses);
}

} // namespace kwlookup
