// SPDX-License-Identifier: MIT
#include "tools/kwlookupd/net/Poller.h"

#include <algorithm>
#include <cerrno>
#include <system_error>

#ifdef __linux__
#include <sys/epoll.h>
#else
#include <poll.h>
#endif

namespace kwlookup {

#ifdef __linux__

struct Poller::System {
    /// So many events are taken at once that their number costs little, and so few that all
    /// connections get their turn.
    static constexpr std::size_t MAX_EVENTS = 128;
    std::vector<epoll_event> events{MAX_EVENTS};

    static void Control(int set, int operation, int fd, void* owner, bool read, bool write) {
        epoll_event event{};
        event.events = EPOLLET | (read ? EPOLLIN | EPOLLRDHUP : 0U) | (write ? EPOLLOUT : 0U);
        event.data.ptr = owner;
        if (::epoll_ctl(set, operation, fd, &event) != 0)
            throw std::system_error(errno, std::system_category(), "epoll_ctl");
    }
};

Poller::Poller() : m_set(::epoll_create1(EPOLL_CLOEXEC)), m_system(std::make_unique<System>()) {
    if (!m_set)
        throw std::system_error(errno, std::system_category(), "epoll_create1");
    m_events.reserve(System::MAX_EVENTS); // events that do not fit would not come again
}

void Poller::Add(int fd, void* owner, bool read, bool write) {
    System::Control(m_set.Get(), EPOLL_CTL_ADD, fd, owner, read, write);
}

void Poller::Change(int fd, void* owner, bool read, bool write) {
    System::Control(m_set.Get(), EPOLL_CTL_MOD, fd, owner, read, write);
}

void Poller::Remove(int fd) {
    ::epoll_ctl(m_set.Get(), EPOLL_CTL_DEL, fd, nullptr);
}

const std::vector<Poller::Event>& Poller::Wait(int milliseconds) {
    m_events.clear();
    const int count = ::epoll_wait(m_set.Get(), m_system->events.data(),
                                   static_cast<int>(m_system->events.size()), milliseconds);
    for (int i = 0; i < count; ++i) {
        const epoll_event& event = m_system->events[static_cast<std::size_t>(i)];
        m_events.push_back({event.data.ptr, (event.events & EPOLLIN) != 0,
                            (event.events & EPOLLOUT) != 0, (event.events & EPOLLRDHUP) != 0,
                            (event.events & (EPOLLHUP | EPOLLERR)) != 0});
    }
    return m_events;
}

#else

struct Poller::System {
    std::vector<pollfd> descriptors;
    std::vector<void*> owners;

    std::size_t Find(int fd) const {
        return static_cast<std::size_t>(
            std::find_if(descriptors.begin(), descriptors.end(),
                         [fd](const pollfd& descriptor) { return descriptor.fd == fd; }) -
            descriptors.begin());
    }
    static short Events(bool read, bool write) {
        return static_cast<short>((read ? POLLIN : 0) | (write ? POLLOUT : 0));
    }
};

Poller::Poller() : m_system(std::make_unique<System>()) {}

void Poller::Add(int fd, void* owner, bool read, bool write) {
    m_system->owners.reserve(m_system->owners.size() + 1);
    m_system->descriptors.push_back({fd, System::Events(read, write), 0});
    m_system->owners.push_back(owner);
}

void Poller::Change(int fd, void*, bool read, bool write) {
    m_system->descriptors[m_system->Find(fd)].events = System::Events(read, write);
}

void Poller::Remove(int fd) {
    const std::size_t place = m_system->Find(fd);
    m_system->descriptors[place] = m_system->descriptors.back();
    m_system->descriptors.pop_back();
    m_system->owners[place] = m_system->owners.back();
    m_system->owners.pop_back();
}

const std::vector<Poller::Event>& Poller::Wait(int milliseconds) {
    m_events.clear();
    if (::poll(m_system->descriptors.data(), m_system->descriptors.size(), milliseconds) <= 0)
        return m_events;
    for (std::size_t i = 0; i < m_system->descriptors.size(); ++i) {
        const short events = m_system->descriptors[i].revents;
        if (events != 0)
            m_events.push_back({m_system->owners[i], (events & POLLIN) != 0,
                                (events & POLLOUT) != 0, false,
                                (events & (POLLHUP | POLLERR | POLLNVAL)) != 0});
    }
    return m_events;
}

#endif

Poller::~Poller() = default;

} // namespace kwlookup
