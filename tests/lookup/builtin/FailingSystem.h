// SPDX-License-Identifier: MIT
#pragma once

#include <sys/types.h>

/// A program that links this has functions of the system that fail where a test says so:
/// pthread_mutex_init, pthread_mutex_lock, open, fstat, read and pread.
///
/// Threads: one.
namespace failing {

/// Counts calls down while a Fault lives; the call that it counts to, fails.
struct Countdown {
    int calls = -1; ///< -1: none fails
    int error = 0;
    bool every = false; ///< every call from there on fails

    bool Fails() {
        if (calls < 0)
            return false;
        if (calls > 0) {
            --calls;
            return false;
        }
        calls = every ? 0 : -1;
        return true;
    }
};

extern Countdown mutex_init, mutex_lock, open, fstat;

/// Every second read of a file is interrupted.
extern bool interrupt_reads;
/// Called before each read of a file, when set.
extern void (*before_read)();
/// Reads at or behind this place of a file fail by EIO, and none passes it.
extern off_t bad_sector;

/// Makes a call fail: the next one, or the one after `calls` good ones.
class Fault {
public:
    Fault(Countdown& countdown, int error, int calls = 0, bool every = false)
        : m_countdown(countdown) {
        m_countdown = Countdown{calls, error, every};
    }
    Fault(const Fault&) = delete;
    Fault& operator=(const Fault&) = delete;
    ~Fault() { m_countdown = Countdown(); }

    /// True when the call came.
    bool Happened() const { return m_countdown.calls < 0 || m_countdown.every; }

private:
    Countdown& m_countdown;
};

} // namespace failing
