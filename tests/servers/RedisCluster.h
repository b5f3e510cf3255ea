// SPDX-License-Identifier: MIT
#pragma once

#include "servers/RedisServer.h"

#include <array>
#include <memory>
#include <string>

namespace kwlookup {

/// A cluster of three masters, which share all slots, and a replica of each. Ready in about 3 s.
class RedisCluster {
public:
    static constexpr int NODES = 6;

    RedisCluster();

    /// Which of them are masters, `CLUSTER NODES` says.
    RedisServer& Node(int i) { return *m_nodes.at(static_cast<std::size_t>(i)); }

    /// All of them, as the option Hosts takes them.
    std::string Hosts() const;

    /// Runs a command on the node that it belongs to, and gives the answer.
    std::string Run(const std::vector<std::string>& command);

    /// Waits until the nodes that live agree that every slot is served.
    void WaitUntilHealthy();

private:
    std::array<std::unique_ptr<RedisServer>, NODES> m_nodes;
};

} // namespace kwlookup
