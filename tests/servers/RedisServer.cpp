// SPDX-License-Identifier: MIT
#include "servers/RedisServer.h"

#include "servers/ServerProgram.h"

#include <stdexcept>

namespace kwlookup {

RedisServer::RedisServer(const Options& options)
    : TestServer(options.certificate), m_options(options), m_tls_port(FreePort()),
      m_bus_port(FreePort()) {
    Start();
}

std::vector<std::string> RedisServer::GetCommand() const {
    // The log of commands keeps the data after a crash.
    std::vector<std::string> command = {ServerFile("usr/bin/redis-server"),
                                        "--bind",
                                        "127.0.0.1",
                                        "--port",
                                        std::to_string(GetPort()),
                                        "--unixsocket",
                                        GetSocketPath(),
                                        "--unixsocketperm",
                                        "777",
                                        "--dir",
                                        GetDir().Path("."),
                                        "--save",
                                        "",
                                        "--appendonly",
                                        "yes",
                                        "--appendfsync",
                                        "no"};
    if (!m_options.password.empty())
        command.insert(command.end(), {"--requirepass", m_options.password});
    if (HasTls())
        command.insert(command.end(),
                       {"--tls-port", std::to_string(m_tls_port), "--tls-cert-file",
                        GetCertificateFile(), "--tls-key-file", GetKeyFile(), "--tls-ca-cert-file",
                        GetCaFile(), "--tls-auth-clients", "optional"});
    if (m_options.cluster)
        command.insert(command.end(), {"--cluster-enabled", "yes", "--cluster-config-file",
                                       "nodes.conf", "--cluster-port", std::to_string(m_bus_port),
                                       "--cluster-node-timeout", "2000"});
    return command;
}

std::vector<std::string> RedisServer::Client() const {
    std::vector<std::string> command = {ServerFile("usr/bin/redis-cli"), "-e", "-s",
                                        GetSocketPath()};
    if (!m_options.password.empty())
        command.insert(command.end(), {"--no-auth-warning", "-a", m_options.password});
    return command;
}

bool RedisServer::Answers() {
    return Run({"PING"}) == "PONG\n";
}

std::string RedisServer::Run(const std::vector<std::string>& command) {
    std::vector<std::string> arguments = Client();
    arguments.insert(arguments.end(), command.begin(), command.end());
    return RunServerProgram(arguments);
}

void RedisServer::Load(const std::vector<std::vector<std::string>>& commands) {
    std::string input;
    for (const auto& command : commands) {
        input += "*" + std::to_string(command.size()) + "\r\n";
        for (const std::string& word : command)
            input += "$" + std::to_string(word.size()) + "\r\n" + word + "\r\n";
    }
    std::vector<std::string> arguments = Client();
    arguments.push_back("--pipe");
    const std::string said = RunServerProgram(arguments, input);
    if (said.find("errors: 0,") == std::string::npos)
        throw std::runtime_error("redis-cli --pipe: " + said);
}

} // namespace kwlookup
