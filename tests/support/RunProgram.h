// SPDX-License-Identifier: MIT
#pragma once

#include "text/FileDescriptor.h"

#include <string>
#include <sys/types.h>
#include <vector>

/// The exit status and the output of a program.
struct ProgramResult {
    int status = -1; ///< the exit status; 128 + the signal number if a signal ended the program
    std::string out;
    std::string err;
};

/// Run the program `arguments`, of which the first is its file, to its end. `input` is its standard
/// input, as a file. `environment` has "NAME=VALUE" texts that are added to our environment. The
/// program ignores and blocks no signals. Throws std::system_error if it cannot be started.
ProgramResult RunProgram(const std::vector<std::string>& arguments, const std::string& input = "",
                         const std::vector<std::string>& environment = {});

/// A running program, with pipes for its input and output. Its standard error goes to a file.
class RunningProgram {
public:
    /// Starts the program; see RunProgram().
    explicit RunningProgram(const std::vector<std::string>& arguments,
                            const std::vector<std::string>& environment = {});
    RunningProgram(const RunningProgram&) = delete;
    RunningProgram& operator=(const RunningProgram&) = delete;
    /// Kills the program unless Finish() was called.
    ~RunningProgram();

    pid_t GetPid() const { return m_pid; }

    /// Write to its standard input. Throws std::system_error.
    void Write(const std::string& text);

    /// Wait for the next line of its output; empty at the end. Throws std::runtime_error if there
    /// is none for a minute.
    std::string ReadLine();

    void CloseInput() { m_input = kwlookup::FileDescriptor(); }

    /// Close its input, wait for its end, and return the output that has not been read yet.
    ProgramResult Finish();

private:
    bool ReadMore();

    kwlookup::FileDescriptor m_input;
    kwlookup::FileDescriptor m_output;
    kwlookup::FileDescriptor m_error;
    std::string m_read;
    std::size_t m_given = 0; ///< how much of m_read ReadLine() has returned
    pid_t m_pid = -1;
};
