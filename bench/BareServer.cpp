// SPDX-License-Identifier: MIT
#include "bench/BareServer.h"

#include "bench/BenchData.h"

#include <array>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

/// Answers the clients in the epoll set `set`.
void Serve(int set, const std::string& answer) {
    std::array<epoll_event, 128> events;
    std::array<char, 65536> input;
    std::string output;
    for (;;) {
        const int count = ::epoll_wait(set, events.data(), events.size(), -1);
        for (int i = 0; i < count; ++i) {
            const int fd = events[static_cast<std::size_t>(i)].data.fd;
            const ssize_t size = ::recv(fd, input.data(), input.size(), 0);
            if (size <= 0) {
                ::close(fd);
                continue;
            }
            // The client sends whole requests without a comma inside, so each comma is one.
            output.clear();
            for (ssize_t j = 0; j < size; ++j) {
                if (input[static_cast<std::size_t>(j)] == ',')
                    output += answer;
            }
            if (::send(fd, output.data(), output.size(), MSG_NOSIGNAL) < 0)
                ::close(fd);
        }
    }
}

} // namespace

void RunBareServer(const std::string& path, const std::string& answer, std::size_t threads) {
    sockaddr_un name{};
    name.sun_family = AF_UNIX;
    path.copy(name.sun_path, sizeof name.sun_path - 1);
    const int listening = ::socket(AF_UNIX, SOCK_STREAM, 0);
    if (::bind(listening, reinterpret_cast<const sockaddr*>(&name), sizeof name) != 0 ||
        ::listen(listening, SOMAXCONN) != 0)
        Fail("cannot listen at " + path);
    std::vector<int> sets;
    for (std::size_t i = 0; i < threads; ++i) {
        sets.push_back(::epoll_create1(0));
        std::thread(Serve, sets.back(), answer).detach();
    }
    for (std::size_t i = 0;; ++i) {
        epoll_event event{};
        event.events = EPOLLIN;
        event.data.fd = ::accept(listening, nullptr, nullptr);
        ::epoll_ctl(sets[i % threads], EPOLL_CTL_ADD, event.data.fd, &event);
    }
}
