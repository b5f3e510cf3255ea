// SPDX-License-Identifier: MIT
#pragma once

#include "families/servers/Server.h"
#include "plugins/redis/RedisReply.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace kwlookup {

/// The nodes of a cluster by slots: each key has a slot, and each slot has a master and replicas.
class SlotTable {
public:
    static constexpr unsigned SLOTS = 16384;

    /// The slot of a key: a checksum of its bytes, or of those between its first '{' and the next
    /// '}' if there are any.
    static unsigned SlotOf(std::string_view key);

    /// Parses the reply of the server `from` to CLUSTER SLOTS. The host of `from` replaces a
    /// missing one. Throws ServerFault "the table of slots cannot be read".
    SlotTable(const RedisReply& reply, const Server& from);

    /// The master and its replicas; empty if no node has the slot.
    const std::vector<Server>& NodesOf(unsigned slot) const { return m_groups[m_group_of[slot]]; }

    /// Each node once.
    std::vector<Server> GetAllNodes() const;

private:
    std::vector<std::vector<Server>> m_groups; ///< the first one is empty
    std::array<std::uint16_t, SLOTS> m_group_of{};
};

} // namespace kwlookup
