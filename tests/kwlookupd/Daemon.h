// SPDX-License-Identifier: MIT
#pragma once

#include "support/RunProgram.h"
#include "support/TempDir.h"

#include <string>
#include <sys/types.h>
#include <vector>

/// A kwlookupd in a directory of its own, which is its working directory, too. Its standard error
/// goes to the file "log" there.
class Daemon {
public:
    /// Writes `config` to the file "kwlookupd.conf" and starts the daemon. "@" in it stands for the
    /// directory of `dir`. The section [kwlookupd] is there already, with a control socket. Waits
    /// until the daemon answers commands; throws std::runtime_error with its log if it ends. The
    /// daemon ends with the thread that started it.
    Daemon(const TempDir& dir, const std::string& config);
    /// Kills it, unless it has ended.
    ~Daemon();
    Daemon(const Daemon&) = delete;
    Daemon& operator=(const Daemon&) = delete;

    /// Writes a configuration as the constructor does, and returns its name.
    static std::string WriteConfig(const TempDir& dir, const std::string& config);

    /// Starts it again after Kill() or Stop().
    void Start();
    /// Sends a signal.
    void Signal(int number) const;
    /// Kills it at once.
    void Kill();
    /// Ends it with SIGTERM. Returns its exit status.
    int Stop();

    /// Runs `kwlookupd ctl WORDS...`.
    ProgramResult Ctl(std::vector<std::string> words) const;

    /// Asks the socketmap door at `address` about `text` in `list`, over a new connection. Returns
    /// the answer without the frame, such as "NOTFOUND ".
    static std::string Ask(const std::string& address, const std::string& list,
                           const std::string& text);

    /// Returns all that it has logged.
    std::string GetLog() const;

    pid_t GetPid() const { return m_pid; }

private:
    const TempDir& m_dir;
    const std::string m_config;
    pid_t m_pid = -1;
};
