// SPDX-License-Identifier: MIT
#include "support/RunProgram.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <stdexcept>
#include <sys/mman.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace {

using namespace kwlookup;

/// How long to wait for an answer; enough for a loaded machine.
constexpr int PATIENCE_MS = 60000;

void Check(bool good, const char* what, int error = errno) {
    if (!good)
        throw std::system_error(error, std::generic_category(), what);
}

/// Make a file in memory.
FileDescriptor MakeFile() {
    FileDescriptor file(::memfd_create("kwlookup-test", MFD_CLOEXEC));
    Check(static_cast<bool>(file), "memfd_create");
    return file;
}

void WriteAll(int fd, const std::string& text) {
    for (std::size_t done = 0; done < text.size();) {
        const ssize_t written = ::write(fd, text.data() + done, text.size() - done);
        Check(written >= 0 || errno == EINTR, "write");
        if (written > 0)
            done += static_cast<std::size_t>(written);
    }
}

std::string Content(const FileDescriptor& file) {
    std::string text(static_cast<std::size_t>(::lseek(file.Get(), 0, SEEK_END)), '\0');
    for (std::size_t done = 0; done < text.size();) {
        const ssize_t got =
            ::pread(file.Get(), text.data() + done, text.size() - done, static_cast<off_t>(done));
        Check(got > 0, "pread");
        done += static_cast<std::size_t>(got);
    }
    return text;
}

std::vector<char*> Pointers(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    for (std::string& text : texts)
        pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}

/// Our environment, with the variables in `added` added or replaced.
std::vector<std::string> Environment(const std::vector<std::string>& added) {
    std::vector<std::string> all = added;
    for (char** entry = environ; *entry; ++entry) {
        const std::string text = *entry;
        const std::string name = text.substr(0, text.find('=') + 1);
        bool replaced = false;
        for (const std::string& other : added)
            replaced |= other.compare(0, name.size(), name) == 0;
        if (!replaced)
            all.push_back(text);
    }
    return all;
}

pid_t Spawn(std::vector<std::string> arguments, const std::vector<std::string>& environment,
            int input, int output, int error) {
    std::vector<std::string> variables = Environment(environment);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, error, STDERR_FILENO);
    // A background job ignores some signals, and its children would inherit that.
    sigset_t every;
    sigset_t none;
    sigfillset(&every);
    sigemptyset(&none);
    posix_spawnattr_t signals;
    posix_spawnattr_init(&signals);
    posix_spawnattr_setflags(&signals, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
    posix_spawnattr_setsigdefault(&signals, &every);
    posix_spawnattr_setsigmask(&signals, &none);
    pid_t pid = -1;
    const int failure = ::posix_spawn(&pid, arguments.front().c_str(), &actions, &signals,
                                      Pointers(arguments).data(), Pointers(variables).data());
    posix_spawnattr_destroy(&signals);
    posix_spawn_file_actions_destroy(&actions);
    Check(failure == 0, "posix_spawn", failure);
    return pid;
}

int ExitStatusOf(pid_t pid) {
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0)
        Check(errno == EINTR, "waitpid");
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

} // namespace

ProgramResult RunProgram(const std::vector<std::string>& arguments, const std::string& input,
                         const std::vector<std::string>& environment) {
    const FileDescriptor in = MakeFile();
    WriteAll(in.Get(), input);
    ::lseek(in.Get(), 0, SEEK_SET);
    const FileDescriptor out = MakeFile();
    const FileDescriptor err = MakeFile();
    ProgramResult result;
    result.status = ExitStatusOf(Spawn(arguments, environment, in.Get(), out.Get(), err.Get()));
    result.out = Content(out);
    result.err = Content(err);
    return result;
}

RunningProgram::RunningProgram(const std::vector<std::string>& arguments,
                               const std::vector<std::string>& environment)
    : m_error(MakeFile()) {
    int input[2];
    int output[2];
    Check(::pipe2(input, O_CLOEXEC) == 0, "pipe2");
    const FileDescriptor input_end(input[0]);
    m_input = FileDescriptor(input[1]);
    Check(::pipe2(output, O_CLOEXEC) == 0, "pipe2");
    m_output = FileDescriptor(output[0]);
    const FileDescriptor output_end(output[1]);
    m_pid = Spawn(arguments, environment, input_end.Get(), output_end.Get(), m_error.Get());
}

RunningProgram::~RunningProgram() {
    if (m_pid < 0)
        return;
    ::kill(m_pid, SIGKILL);
    ::waitpid(m_pid, nullptr, 0);
}

void RunningProgram::Write(const std::string& text) {
    WriteAll(m_input.Get(), text);
}

bool RunningProgram::ReadMore() {
    m_read.erase(0, m_given);
    m_given = 0;
    pollfd readable = {m_output.Get(), POLLIN, 0};
    int ready;
    do
        ready = ::poll(&readable, 1, PATIENCE_MS);
    while (ready < 0 && errno == EINTR);
    Check(ready >= 0, "poll");
    if (ready == 0)
        throw std::runtime_error("the program is silent; on standard error it said: " +
                                 Content(m_error));
    char block[4096];
    ssize_t got;
    do
        got = ::read(m_output.Get(), block, sizeof(block));
    while (got < 0 && errno == EINTR);
    Check(got >= 0, "read");
    m_read.append(block, static_cast<std::size_t>(got));
    return got > 0;
}

std::string RunningProgram::ReadLine() {
    std::size_t end;
    while ((end = m_read.find('\n', m_given)) == std::string::npos)
        if (!ReadMore())
            return std::string();
    std::string line = m_read.substr(m_given, end - m_given);
    m_given = end + 1;
    return line;
}

ProgramResult RunningProgram::Finish() {
    CloseInput();
    while (ReadMore()) {
    }
    ProgramResult result;
    result.status = ExitStatusOf(m_pid);
    m_pid = -1;
    result.out = m_read;
    result.err = Content(m_error);
    return result;
}
