// SPDX-License-Identifier: MIT
#include "kwlookupd/Daemon.h"

#include "kwlookupd/Client.h"

#include <chrono>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <iterator>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

int StatusOf(int status) {
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

} // namespace

std::string Daemon::WriteConfig(const TempDir& dir, const std::string& config) {
    std::string text = "[kwlookupd]\nControl = @/control\n" + config;
    const std::string path = dir.Path("");
    for (std::size_t at = 0; (at = text.find("@/", at)) != std::string::npos;)
        text.replace(at, 2, path);
    const std::string name = dir.Write("kwlookupd.conf", text);
    ::chmod(name.c_str(), 0600);
    return name;
}

Daemon::Daemon(const TempDir& dir, const std::string& config)
    : m_dir(dir), m_config(WriteConfig(dir, config)) {
    Start();
}

Daemon::~Daemon() {
    Kill();
}

void Daemon::Start() {
    const std::string log = m_dir.Path("log");
    const std::string directory = m_dir.Path("");
    m_pid = ::fork();
    if (m_pid == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL); // a test that is killed leaves nothing behind
        const int output = ::open(log.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
        ::dup2(output, STDOUT_FILENO);
        ::dup2(output, STDERR_FILENO);
        if (::chdir(directory.c_str()) == 0)
            ::execl(KWLOOKUPD, KWLOOKUPD, "--config", m_config.c_str(), nullptr);
        ::_exit(127);
    }
    // It answers commands when all of its doors are open and its lists are loaded.
    for (;;) {
        if (Ctl({"status"}).status == 0)
            return;
        int status = 0;
        if (::waitpid(m_pid, &status, WNOHANG) == m_pid) {
            m_pid = -1;
            throw std::runtime_error("kwlookupd ended with " + std::to_string(StatusOf(status)) +
                                     ": " + GetLog());
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
}

void Daemon::Signal(int number) const {
    ::kill(m_pid, number);
}

void Daemon::Kill() {
    if (m_pid < 0)
        return;
    ::kill(m_pid, SIGKILL);
    ::waitpid(m_pid, nullptr, 0);
    m_pid = -1;
}

int Daemon::Stop() {
    ::kill(m_pid, SIGTERM);
    int status = 0;
    ::waitpid(m_pid, &status, 0);
    m_pid = -1;
    return StatusOf(status);
}

ProgramResult Daemon::Ctl(std::vector<std::string> words) const {
    words.insert(words.begin(), {KWLOOKUPD, "--config", m_config, "ctl"});
    return RunProgram(words);
}

std::string Daemon::Ask(const std::string& address, const std::string& list,
                        const std::string& text) {
    Client client(address);
    const std::string payload = list + ' ' + text;
    client.Send(std::to_string(payload.size()) + ':' + payload + ',');
    client.End();
    const std::string answer = client.ReceiveAll();
    const std::size_t colon = answer.find(':');
    if (colon == std::string::npos || answer.back() != ',')
        throw std::runtime_error("no answer: [" + answer + "]");
    return answer.substr(colon + 1, answer.size() - colon - 2);
}

std::string Daemon::GetLog() const {
    std::ifstream in(m_dir.Path("log"), std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}
