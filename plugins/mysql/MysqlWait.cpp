// SPDX-License-Identifier: MIT
#include "plugins/mysql/MysqlWait.h"

#include "families/servers/ServerFault.h"
#include "families/servers/Socket.h"
#include "text/SystemError.h"

#include <cerrno>
#include <chrono>
#include <ctime>
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <utility>

namespace kwlookup {

namespace {

thread_local MysqlWait* t_current = nullptr;

/// How long a blocking read waits; most servers answer sooner. The system may end it an eighth of
/// this time late.
constexpr std::chrono::milliseconds LONGEST_READ{100};

sigset_t OnlySigpipe() {
    sigset_t signals;
    ::sigemptyset(&signals);
    ::sigaddset(&signals, SIGPIPE);
    return signals;
}

bool IsSigpipePending() {
    sigset_t pending;
    ::sigpending(&pending);
    return ::sigismember(&pending, SIGPIPE) == 1;
}

} // namespace

MysqlWait::MysqlWait(Deadline deadline, bool tls) : m_deadline(deadline) {
    t_current = this;
    if (tls) {
        m_had_sigpipe = IsSigpipePending();
        const sigset_t sigpipe = OnlySigpipe();
        ::pthread_sigmask(SIG_BLOCK, &sigpipe, &m_signals.emplace());
    }
}

MysqlWait::~MysqlWait() {
    t_current = nullptr;
    if (!m_signals)
        return;
    const sigset_t sigpipe = OnlySigpipe();
    const timespec now{};
    if (!m_had_sigpipe)
        while (::sigtimedwait(&sigpipe, nullptr, &now) == SIGPIPE) {
        }
    ::pthread_sigmask(SIG_SETMASK, &*m_signals, nullptr);
}

MysqlWait& MysqlWait::Current() {
    return *t_current;
}

void MysqlWait::Connect(std::string tls_name) {
    m_connects = m_logs_in = true;
    m_tls_name = std::move(tls_name);
}

void MysqlWait::LimitReads(int socket) {
    timeval time{};
    time.tv_usec = std::chrono::microseconds(LONGEST_READ).count();
    if (::setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, &time, sizeof(time)) != 0)
        throw ServerFault(SystemErrorText(errno));
}

void MysqlWait::Fail(const std::string& reason) {
    if (m_reason.empty())
        m_reason = reason;
}

int MysqlWait::ForSocket(my_socket socket, my_bool read, int timeout) {
    const bool write = !read || timeout == static_cast<int>(WRITE_MARK);
    return Current().Wait(static_cast<int>(socket), write ? POLLOUT : POLLIN);
}

/// Returns 1 if the socket is ready, 0 if the time is over, -1 after an error.
int MysqlWait::Wait(int socket, short events) {
    try {
        if (std::exchange(m_connects, false))
            ::fcntl(socket, F_SETFD, FD_CLOEXEC);
        if (events == POLLIN && IsReadable(socket))
            return 1;
        if (!WaitFor(socket, events, m_deadline)) {
            Fail("no answer in time");
            return 0;
        }
        if (events == POLLIN)
            return 1;
        // The connector would report another error.
        int error = 0;
        socklen_t size = sizeof(error);
        ::getsockopt(socket, SOL_SOCKET, SO_ERROR, &error, &size);
        if (error == 0)
            return 1;
        Fail(SystemErrorText(error));
    } catch (const std::exception& error) {
        Fail(error.what());
    }
    return -1;
}

/// Waits for bytes, but not to the deadline. The system sets a costlier timer for poll(2) than for
/// a read.
bool MysqlWait::IsReadable(int socket) const {
    if (m_logs_in || m_deadline.GetMsLeft() < 2 * LONGEST_READ.count())
        return false;
    char byte;
    return ::recv(socket, &byte, sizeof(byte), MSG_PEEK) > 0;
}

} // namespace kwlookup
