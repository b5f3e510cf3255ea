// SPDX-License-Identifier: MIT
#pragma once

#include "families/servers/Answer.h"
#include "families/servers/Deadline.h"
#include "families/servers/ServerSet.h"
#include "families/servers/ServerSettings.h"
#include "plugins/redis/ClusterNodes.h"
#include "plugins/redis/RedisCommand.h"
#include "plugins/redis/RedisConnection.h"

#include <atomic>
#include <memory>
#include <string>

namespace kwlookup {

/// Redis servers with the same keys, or a cluster of which they are some nodes. That it is one
/// shows when a node names another as the one to ask.
///
/// Threads: any.
class RedisSource {
public:
    explicit RedisSource(const std::shared_ptr<const ServerSettings>& settings);

    /// Throws what ServerSet::Ask() and ClusterNodes::Ask() throw.
    void Ask(const RedisCommand& command, const std::string& question, Deadline deadline,
             Answer& answer);

private:
    ServerSet<RedisConnection> m_servers;
    ClusterNodes m_cluster;
    std::atomic<bool> m_look_for_cluster; ///< a master never names its replicas by itself
};

} // namespace kwlookup
