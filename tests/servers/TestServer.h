// SPDX-License-Identifier: MIT
#pragma once

#include "servers/TestAuthority.h"
#include "support/TempDir.h"

#include <string>
#include <sys/types.h>
#include <vector>

namespace kwlookup {

/// A server on 127.0.0.1 at a free port, with a directory of its own for data and socket.
/// It dies with the thread that started it last, and with this object.
class TestServer {
public:
    TestServer(const TestServer&) = delete;
    TestServer& operator=(const TestServer&) = delete;
    virtual ~TestServer();

    int GetPort() const { return m_port; }
    /// How an option Hosts names it.
    std::string GetHost() const { return "127.0.0.1:" + std::to_string(m_port); }
    std::string GetUnixHost() const { return "unix:" + GetSocketPath(); }
    virtual std::string GetSocketPath() const { return m_dir.Path("socket"); }

    /// The process that was started; servers have more of them.
    pid_t GetPid() const { return m_pid; }

    /// Ends all its processes at once, as a crash does.
    void Kill();

    /// Stop all its processes: the kernel still accepts connections, but they get no answer.
    void Stop();
    void Continue();

    /// Kills it, starts it at the same port with the same data, and waits until it answers.
    void Restart();

    /// Makes it show this certificate from now on. Restarts it.
    void UseCertificate(const TestCertificate& certificate);

    /// What it has written to standard output and error.
    std::string GetLog() const;

protected:
    /// With `certificate`, it speaks TLS.
    explicit TestServer(const TestCertificate* certificate = nullptr);

    /// Starts it for the first time; if somebody has taken the port, at another one.
    /// Constructors call it when all that GetCommand() reads is there.
    void Start();

    const TempDir& GetDir() const { return m_dir; }
    bool HasTls() const { return m_has_tls; }
    std::string GetCertificateFile() const { return m_dir.Path("server.crt"); }
    std::string GetKeyFile() const { return m_dir.Path("server.key"); }
    std::string GetCaFile() const { return m_dir.Path("ca.crt"); }

    /// A port without a listener.
    static int FreePort();

    /// The program and its arguments.
    virtual std::vector<std::string> GetCommand() const = 0;

    /// Whether it answers already; asked until it does. May throw std::runtime_error for no.
    virtual bool Answers() = 0;

private:
    void CopyCertificate(const TestCertificate& certificate);
    bool Launch();
    std::vector<pid_t> GetProcesses() const;
    void Signal(int signal);

    TempDir m_dir;
    int m_port;
    bool m_has_tls = false;
    pid_t m_pid = -1;
};

} // namespace kwlookup
