// SPDX-License-Identifier: MIT
#pragma once

#include "text/FileDescriptor.h"

#include <string>
#include <sys/types.h>
#include <vector>

/// What a program left behind.
struct ProgramResult {
    int status = -1; ///< its exit status; 128 + the signal number when a signal ended it
    std::string out;
    std::string err;
};

/// Runs `arguments`, of which the first is the program's file, to its end. `input` is its standard
/// input, as a file; `environment` holds "NAME=VALUE" texts that are added to ours.
/// No signal is ignored or blocked in it, whatever we do with signals.
/// Throws std::system_error when it cannot be started.
ProgramResult RunProgram(const std::vector<std::string>& arguments, const std::string& input = "",
                         const std::vector<std::string>& environment = {});

/// A running program that is talked to through pipes; its standard error is collected in a file.
class RunningProgram {
public:
    /// See RunProgram().
    explicit RunningProgram(const std::vector<std::string>& arguments,
                            const std::vector<std::string>& environment = {});
    RunningProgram(const RunningProgram&) = delete;
    RunningProgram& operator=(const RunningProgram&) = delete;
    /// Kills the program when it has not been waited for.
    ~RunningProgram();

    pid_t GetPid() const { return m_pid; }

    /// Writes to its standard input. Throws std::system_error.
    void Write(const std::string& text);

    /// Waits for the next line that it prints; empty at the end. Throws std::runtime_error when the
    /// program is silent for a minute.
    std::string ReadLine();

    void CloseInput() { m_input = kwlookup::FileDescriptor(); }

    /// Closes its input, waits for its end, and gives what has not been read yet.
    ProgramResult Finish();

private:
    bool ReadMore();

    kwlookup::FileDescriptor m_input;
    kwlookup::FileDescriptor m_output;
    kwlookup::FileDescriptor m_error;
    std::string m_read;
    std::size_t m_given = 0; ///< how much of m_read ReadLine() has given
    pid_t m_pid = -1;
};
