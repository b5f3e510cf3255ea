// SPDX-License-Identifier: MIT
#pragma once

#include "servers/RedisServer.h"

#include <array>
#include <chrono>
#include <memory>
#include <string>

namespace kwlookup {

/// A cluster of three masters, which share all slots, and a replica of each. It is ready in about
/// 3 s. However late a node answers, the others do not consider it failed before SetNodeTimeout().
class RedisCluster {
public:
    static constexpr int NODES = 6;

    RedisCluster();

    /// The nodes. `CLUSTER NODES` says which of them are masters.
    RedisServer& Node(int i) { return *m_nodes.at(static_cast<std::size_t>(i)); }

    /// All nodes, as a value of Hosts.
    std::string GetHosts() const;

    /// Runs a command on the node that its key belongs to, and returns the answer.
    std::string Run(const std::vector<std::string>& command);

    /// Waits until all running nodes agree that every slot is served.
    void WaitUntilHealthy();

    /// Waits until each replica has the keys of its master, and all nodes know that. Before, a
    /// replica neither answers nor replaces its master.
    void WaitForReplicas();

    /// Sets the time without an answer after which the nodes consider another one failed, and
    /// promote its replica.
    void SetNodeTimeout(std::chrono::milliseconds timeout);

private:
    bool HasReplicas();

    std::array<std::unique_ptr<RedisServer>, NODES> m_nodes;
};

} // namespace kwlookup
