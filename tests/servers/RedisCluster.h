// SPDX-License-Identifier: MIT
#pragma once

#include "servers/RedisServer.h"

#include <array>
#include <chrono>
#include <memory>
#include <string>

namespace kwlookup {

/// A cluster of three masters, which share all slots, and a replica of each. Ready in about 3 s.
/// However late a node answers, the others do not take it for dead until SetNodeTimeout().
class RedisCluster {
public:
    static constexpr int NODES = 6;

    RedisCluster();

    /// Which of them are masters, `CLUSTER NODES` says.
    RedisServer& Node(int i) { return *m_nodes.at(static_cast<std::size_t>(i)); }

    /// All of them, as the option Hosts takes them.
    std::string GetHosts() const;

    /// Runs a command on the node that it belongs to, and gives the answer.
    std::string Run(const std::vector<std::string>& command);

    /// Waits until the nodes that live agree that every slot is served.
    void WaitUntilHealthy();

    /// Waits until each replica has the keys of its master, and all nodes know of it: one that has
    /// nothing yet answers nothing, nor takes its master's place.
    void WaitForReplicas();

    /// After this time without an answer the nodes take another one for dead, and its replica for a
    /// master.
    void SetNodeTimeout(std::chrono::milliseconds timeout);

private:
    bool HasReplicas();

    std::array<std::unique_ptr<RedisServer>, NODES> m_nodes;
};

} // namespace kwlookup
