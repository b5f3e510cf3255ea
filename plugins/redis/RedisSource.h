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

/// Redis servers with the same keys, or some nodes of a cluster. A cluster is recognised by its
/// first redirection.
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
    std::atomic<bool> m_look_for_cluster; ///< a master does not redirect to its replicas by itself
};

} // namespace kwlookup
