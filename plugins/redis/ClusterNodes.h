// SPDX-License-Identifier: MIT
#pragma once

#include "families/servers/Answer.h"
#include "families/servers/Deadline.h"
#include "families/servers/ServerSet.h"
#include "families/servers/ServerSettings.h"
#include "plugins/redis/RedisCommand.h"
#include "plugins/redis/RedisConnection.h"
#include "plugins/redis/SlotTable.h"

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace kwlookup {

/// The nodes of a cluster, each with its connections, and the table of their slots.
///
/// The table is read after a redirection and when the node of a slot fails, but at most once a
/// second. It does not contain replicas that are down, so it is also read every RetryInterval if
/// replicas are asked.
///
/// Threads: any.
class ClusterNodes {
public:
    ClusterNodes(std::shared_ptr<const ServerSettings> settings, bool from_replica);

    /// The request for the table.
    static const std::string& GetSlotsRequest();

    /// True once the table has been read.
    bool IsKnown() const { return m_known.load(std::memory_order_acquire); }

    /// Replace the table by `slots`.
    void Learn(std::shared_ptr<const SlotTable> slots);

    /// Ask the node that has the key, or one of its replicas, and follow up to 16 redirections.
    /// `redirection` is one that was received before.
    /// Throws what ServerSet::Ask() throws, and ServerFault "more than 16 redirections" and "NAME:
    /// CLUSTERDOWN REASON".
    void Ask(const RedisCommand& command, const std::string& question, Deadline deadline,
             Answer& answer, std::optional<Redirection> redirection);

private:
    using Node = ServerSet<RedisConnection>;

    /// The node at this address; made if it is not known yet.
    std::shared_ptr<Node> NodeAt(const Server& server);

    /// The master of a slot and its replicas.
    std::vector<Server> GroupOf(unsigned slot);

    /// The nodes of a group in the order in which to ask them: the master, or the replicas in turn
    /// and then the master.
    std::vector<Server> InOrder(std::vector<Server> group);

    /// Ask one of `nodes` after the other. False if all failed; `reasons` are their reasons.
    bool AskOneOf(const std::vector<Server>& nodes, const RedisConnection::Asked& asked,
                  const std::string& question, Deadline deadline, Answer& answer,
                  std::string& reasons);

    /// True if replicas may have come back since the table was read.
    bool IsOld();

    /// Read the table again, from `first` or another node, unless it was read just now.
    void Refresh(const std::vector<Server>& first, Deadline deadline);

    const std::shared_ptr<const ServerSettings> m_settings;
    const bool m_from_replica;
    std::atomic<bool> m_known{false};
    std::atomic<unsigned> m_turn{0}; ///< replicas take turns
    std::mutex m_lock;
    std::shared_ptr<const SlotTable> m_slots;
    std::map<std::string, std::shared_ptr<Node>> m_nodes;
    Deadline::Clock::time_point m_refresh_at; ///< when the table may be read again
    Deadline::Clock::time_point m_old_at;     ///< when it should be
};

} // namespace kwlookup
