// SPDX-License-Identifier: MIT
#include "servers/RedisCluster.h"

#include "servers/ServerProgram.h"

#include <chrono>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace kwlookup {

namespace {

constexpr std::chrono::seconds LIMIT{60};
/// Longer than any test.
constexpr std::chrono::hours NEVER{1};
/// The length of a node's name, in hexadecimal digits.
constexpr std::size_t NAME_LENGTH = 40;

template <typename Condition>
void WaitUntil(Condition holds) {
    const auto end = std::chrono::steady_clock::now() + LIMIT;
    while (!holds()) {
        if (std::chrono::steady_clock::now() > end)
            throw std::runtime_error("the cluster does not get healthy");
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
}

} // namespace

RedisCluster::RedisCluster() {
    RedisServer::Options options;
    options.cluster = true;
    std::vector<std::string> create = {ServerFile("usr/bin/redis-cli"), "--cluster", "create"};
    for (auto& node : m_nodes) {
        node = std::make_unique<RedisServer>(options);
        create.push_back(node->GetHost());
    }
    create.insert(create.end(), {"--cluster-replicas", "1", "--cluster-yes"});
    RunServerProgram(create);
    WaitUntilHealthy();
    SetNodeTimeout(NEVER);
}

std::string RedisCluster::GetHosts() const {
    std::string hosts;
    for (const auto& node : m_nodes)
        hosts += (hosts.empty() ? "" : ", ") + node->GetHost();
    return hosts;
}

std::string RedisCluster::Run(const std::vector<std::string>& command) {
    for (const auto& node : m_nodes) {
        if (node->GetPid() < 0)
            continue;
        std::vector<std::string> arguments = {ServerFile("usr/bin/redis-cli"), "-e", "-c", "-p",
                                              std::to_string(node->GetPort())};
        arguments.insert(arguments.end(), command.begin(), command.end());
        return RunServerProgram(arguments);
    }
    throw std::runtime_error("no node of the cluster lives");
}

void RedisCluster::WaitUntilHealthy() {
    WaitUntil([this] {
        for (const auto& node : m_nodes)
            if (node->GetPid() >= 0 &&
                node->Run({"CLUSTER", "INFO"}).find("cluster_state:ok") == std::string::npos)
                return false;
        return true;
    });
}

void RedisCluster::WaitForReplicas() {
    WaitUntil([this] { return HasReplicas(); });
}

bool RedisCluster::HasReplicas() {
    int keys = 0; // those of masters minus those of replicas
    for (const auto& node : m_nodes) {
        const bool master = node->Run({"ROLE"}).rfind("master", 0) == 0;
        keys += (master ? 1 : -1) * std::stoi(node->Run({"DBSIZE"}));
        // The lines are slots, addresses and names of masters and working replicas.
        std::istringstream slots(node->Run({"CLUSTER", "SLOTS"}));
        int known = 0;
        for (std::string line; std::getline(slots, line);)
            known += line.size() == NAME_LENGTH;
        if (known != NODES)
            return false;
    }
    return keys == 0;
}

void RedisCluster::SetNodeTimeout(std::chrono::milliseconds timeout) {
    for (const auto& node : m_nodes)
        if (node->GetPid() >= 0)
            node->Run({"CONFIG", "SET", "cluster-node-timeout", std::to_string(timeout.count())});
}

} // namespace kwlookup
