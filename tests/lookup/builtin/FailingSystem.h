// SPDX-License-Identifier: MIT
#pragma once

#include <sys/types.h>

/// Replaces functions of the system by ones that can fail: pthread_mutex_init, pthread_mutex_lock,
/// open, fstat, read and pread.
///
/// Threads: one.
namespace failing {

/// Counts calls while a Fault lives, and makes one of them fail.
struct Countdown {
    int calls = -1; ///< -1 if none fails
    int error = 0;
    bool every = false; ///< all later calls fail as well

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

/// If set, every second read of a file is interrupted.
extern bool interrupt_reads;
/// If set, called before each read of a file.
extern void (*before_read)();
/// Reads at or after this position of a file fail with EIO. No read goes beyond it.
extern off_t bad_sector;

/// Makes a call fail: the next one, or the one after `calls` successful ones.
class Fault {
public:
    Fault(Countdown& countdown, int error, int calls = 0, bool every = false)
        : m_countdown(countdown) {
        m_countdown = Countdown{calls, error, every};
    }
    Fault(const Fault&) = delete;
    Fault& operator=(const Fault&) = delete;
    ~Fault() { m_countdown = Countdown(); }

    /// Returns true when the call was made.
    bool Happened() const { return m_countdown.calls < 0 || m_countdown.every; }

private:
    Countdown& m_countdown;
};

} // namespace failing
