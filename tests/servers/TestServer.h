// SPDX-License-Identifier: MIT
#pragma once

#include "servers/TestAuthority.h"
#include "support/TempDir.h"

#include <string>
#include <sys/types.h>
#include <vector>

namespace kwlookup {

/// A server on 127.0.0.1 at a free port, with a directory of its own for data and socket. It ends
/// with this object, and with the thread that started it last.
class TestServer {
public:
    TestServer(const TestServer&) = delete;
    TestServer& operator=(const TestServer&) = delete;
    virtual ~TestServer();

    int GetPort() const { return m_port; }
    /// The server as a value of Hosts.
    std::string GetHost() const { return "127.0.0.1:" + std::to_string(m_port); }
    std::string GetUnixHost() const { return "unix:" + GetSocketPath(); }
    virtual std::string GetSocketPath() const { return m_dir.Path("socket"); }

    /// The process that was started. A server may have further ones.
    pid_t GetPid() const { return m_pid; }

    /// Ends all its processes at once, as a crash does.
    void Kill();

    /// Stops all its processes. The kernel still accepts connections, but they get no answer.
    void Stop();
    void Continue();

    /// Kills it, starts it at the same port with the same data, and waits until it answers.
    void Restart();

    /// Restarts it with this certificate.
    void UseCertificate(const TestCertificate& certificate);

    /// Its standard output and error.
    std::string GetLog() const;

protected:
    /// With `certificate`, it speaks TLS.
    explicit TestServer(const TestCertificate* certificate = nullptr);

    /// Starts it for the first time, at another port if the first one is in use. A constructor
    /// calls it when everything is ready for GetCommand().
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

    /// True if it answers already. Called until it does. May throw std::runtime_error instead of
    /// returning false.
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
