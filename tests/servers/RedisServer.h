// SPDX-License-Identifier: MIT
#pragma once

#include "servers/TestServer.h"

#include <string>
#include <vector>

namespace kwlookup {

class RedisServer final : public TestServer {
public:
    struct Options {
        std::string password;                         ///< of the user "default"; empty: none
        const TestCertificate* certificate = nullptr; ///< of its port for TLS; null: no such port
        bool cluster = false;                         ///< a node of a cluster, without slots yet
    };

    RedisServer() : RedisServer(Options()) {}
    explicit RedisServer(const Options& options);

    /// The address for TLS. GetHost() is the one without.
    std::string GetTlsHost() const { return "127.0.0.1:" + std::to_string(m_tls_port); }

    /// Runs a command, and returns the answer as redis-cli prints it. Throws std::runtime_error if
    /// the answer is an error.
    std::string Run(const std::vector<std::string>& command);

    /// Runs many commands, whose words may contain any bytes. Throws if an answer is an error.
    void Load(const std::vector<std::vector<std::string>>& commands);

private:
    std::vector<std::string> GetCommand() const override;
    bool Answers() override;
    std::vector<std::string> Client() const;

    Options m_options;
    int m_tls_port;
    int m_bus_port;
};

} // namespace kwlookup
