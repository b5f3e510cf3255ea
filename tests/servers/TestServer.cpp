// SPDX-License-Identifier: MIT
#include "servers/TestServer.h"

#include "servers/ServerProgram.h"
#include "text/FileDescriptor.h"

#include <arpa/inet.h>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <netinet/in.h>
#include <random>
#include <spawn.h>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/wait.h>
#include <system_error>
#include <thread>
#include <unistd.h>

namespace kwlookup {

namespace {

/// The slowest server starts in a second; a loaded machine may need many times that.
constexpr std::chrono::seconds START_LIMIT{60};
constexpr std::chrono::milliseconds PAUSE{10};

/// How many ports are tried.
constexpr int PORT_TRIES = 10;

struct ProcessState {
    pid_t parent = 0;
    char state = 'X'; ///< 'X' if there is no such process
};

ProcessState StateOf(pid_t pid) {
    std::ifstream file("/proc/" + std::to_string(pid) + "/stat");
    std::string text;
    std::getline(file, text);
    ProcessState state;
    // The name is in parentheses, and may contain parentheses.
    const std::size_t end = text.rfind(") ");
    if (end != std::string::npos) {
        state.state = text[end + 2];
        state.parent = std::stoi(text.substr(end + 4));
    }
    return state;
}

} // namespace

TestServer::TestServer(const TestCertificate* certificate) : m_port(FreePort()) {
    GiveToServer(m_dir.Path("."));
    if (certificate)
        CopyCertificate(*certificate);
}

TestServer::~TestServer() {
    Kill();
}

int TestServer::FreePort() {
    // Below the ports that the kernel gives to clients, so that it is free again after a restart.
    static std::minstd_rand random{std::random_device()()};
    std::uniform_int_distribution<int> ports(10000, 30000);
    for (;;) {
        const int port = ports(random);
        const FileDescriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<in_port_t>(port));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        if (::bind(socket.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0)
            return port;
    }
}

void TestServer::CopyCertificate(const TestCertificate& certificate) {
    const auto copy = [](const std::string& from, const std::string& to) {
        std::filesystem::copy_file(from, to, std::filesystem::copy_options::overwrite_existing);
        std::filesystem::permissions(to, std::filesystem::perms(0600));
        GiveToServer(to);
    };
    copy(certificate.certificate_file, GetCertificateFile());
    copy(certificate.key_file, GetKeyFile());
    copy(certificate.ca_file, GetCaFile());
    m_has_tls = true;
}

void TestServer::UseCertificate(const TestCertificate& certificate) {
    CopyCertificate(certificate);
    Restart();
}

std::string TestServer::GetLog() const {
    std::ifstream file(m_dir.Path("log"), std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
}

void TestServer::Start() {
    for (int i = 0; !Launch(); ++i) {
        if (i == PORT_TRIES)
            throw std::runtime_error("the server does not start: " + GetLog());
        m_port = FreePort();
    }
}

void TestServer::Restart() {
    Kill();
    if (!Launch())
        throw std::runtime_error("the server does not start again: " + GetLog());
}

/// Returns false if the server ended before it answered.
bool TestServer::Launch() {
    std::vector<std::string> arguments = ServerCommand(GetCommand());
    std::vector<char*> pointers;
    for (std::string& argument : arguments)
        pointers.push_back(argument.data());
    pointers.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    const std::string log = m_dir.Path("log");
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, log.c_str(),
                                     O_WRONLY | O_CREAT | O_APPEND, 0600);
    posix_spawn_file_actions_adddup2(&actions, STDOUT_FILENO, STDERR_FILENO);
    // The environment is the command's own.
    char* environment[] = {nullptr};
    const int failure =
        ::posix_spawn(&m_pid, pointers.front(), &actions, nullptr, pointers.data(), environment);
    posix_spawn_file_actions_destroy(&actions);
    if (failure != 0)
        throw std::system_error(failure, std::generic_category(), "posix_spawn");

    const auto end = std::chrono::steady_clock::now() + START_LIMIT;
    while (std::chrono::steady_clock::now() < end) {
        if (::waitpid(m_pid, nullptr, WNOHANG) != 0) {
            m_pid = -1;
            return false;
        }
        try {
            if (Answers())
                return true;
        } catch (const std::runtime_error&) {
            // Not yet.
        }
        std::this_thread::sleep_for(PAUSE);
    }
    throw std::runtime_error("the server does not answer: " + GetLog());
}

std::vector<pid_t> TestServer::GetProcesses() const {
    std::vector<pid_t> family = {m_pid};
    std::vector<std::pair<pid_t, pid_t>> parents;
    for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
        const std::string name = entry.path().filename();
        if (name.find_first_not_of("0123456789") == std::string::npos)
            parents.emplace_back(std::stoi(name), StateOf(std::stoi(name)).parent);
    }
    for (std::size_t i = 0; i < family.size(); ++i)
        for (const auto& [child, parent] : parents)
            if (parent == family[i])
                family.push_back(child);
    return family;
}

void TestServer::Signal(int signal) {
    for (const pid_t process : GetProcesses())
        ::kill(process, signal);
}

void TestServer::Stop() {
    ::kill(m_pid, SIGSTOP); // so that it starts no further processes
    ::waitpid(m_pid, nullptr, WUNTRACED);
    Signal(SIGSTOP);
    // A machine under load delivers the signal late.
    for (char state = 'R'; state != 'T' && state != 'X' && state != 'Z';
         state = StateOf(m_pid).state)
        std::this_thread::sleep_for(PAUSE);
}

void TestServer::Continue() {
    Signal(SIGCONT);
}

void TestServer::Kill() {
    if (m_pid < 0)
        return;
    ::kill(m_pid, SIGSTOP);
    const std::vector<pid_t> processes = GetProcesses();
    for (const pid_t process : processes)
        ::kill(process, SIGKILL);
    ::waitpid(m_pid, nullptr, 0);
    // Its children belong to another process now, which may not reap them.
    for (const pid_t process : processes)
        for (char state = 'R'; process != m_pid && state != 'X' && state != 'Z';
             state = StateOf(process).state)
            std::this_thread::sleep_for(PAUSE);
    m_pid = -1;
}

} // namespace kwlookup
