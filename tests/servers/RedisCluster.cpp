// SPDX-License-Identifier: MIT
#include "servers/RedisCluster.h"

#include "servers/ServerProgram.h"

#include <chrono>
#include <stdexcept>
#include <thread>

namespace kwlookup {

namespace {

constexpr std::chrono::seconds LIMIT{60};

} // namespace

RedisCluster::RedisCluster() {
    RedisServer::Options options;
    options.cluster = true;
    std::vector<std::string> create = {ServerFile("usr/bin/redis-cli"), "--cluster", "create"};
    for (auto& node : m_nodes) {
        node = std::make_unique<RedisServer>(options);
        create.push_back(node->Host());
    }
    create.insert(create.end(), {"--cluster-replicas", "1", "--cluster-yes"});
    RunServerProgram(create);
    WaitUntilHealthy();
}

std::string RedisCluster::Hosts() const {
    std::string hosts;
    for (const auto& node : m_nodes)
        hosts += (hosts.empty() ? "" : ", ") + node->Host();
    return hosts;
}

std::string RedisCluster::Run(const std::vector<std::string>& command) {
    for (const auto& node : m_nodes) {
        if (node->Pid() < 0)
            continue;
        std::vector<std::string> arguments = {ServerFile("usr/bin/redis-cli"), "-e", "-c", "-p",
                                              std::to_string(node->Port())};
        arguments.insert(arguments.end(), command.begin(), command.end());
        return RunServerProgram(arguments);
    }
    throw std::runtime_error("no node of the cluster lives");
}

void RedisCluster::WaitUntilHealthy() {
    const auto end = std::chrono::steady_clock::now() + LIMIT;
    for (const auto& node : m_nodes)
        while (node->Pid() >= 0 &&
               node->Run({"CLUSTER", "INFO"}).find("cluster_state:ok") == std::string::npos) {
            if (std::chrono::steady_clock::now() > end)
                throw std::runtime_error("the cluster does not get healthy");
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
}

} // namespace kwlookup
