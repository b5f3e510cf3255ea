// SPDX-License-Identifier: MIT
#pragma once

#include "families/servers/Answer.h"
#include "families/servers/Deadline.h"
#include "families/servers/Server.h"
#include "families/servers/ServerSettings.h"
#include "families/servers/ServerStream.h"
#include "plugins/redis/Redirection.h"
#include "plugins/redis/RedisCommand.h"
#include "plugins/redis/RedisReader.h"

#include <memory>
#include <optional>
#include <string>

namespace kwlookup {

class SlotTable;

/// A connection to a server or to a node of a cluster.
///
/// Threads: one at a time.
class RedisConnection {
public:
    /// A command, and the redirection by a cluster node, if any.
    struct Asked {
        const RedisCommand& command;
        bool asking; ///< the node may not have the slot yet: an ASK redirected here
        std::optional<Redirection>& redirection;
    };

    /// A request for the table of slots; the table stays null if the server is not in a cluster.
    struct AskedSlots {
        std::shared_ptr<const SlotTable>& slots;
    };

    /// Connects and logs in. Throws ServerFault.
    RedisConnection(const Server& server, const ServerSettings& settings, Deadline deadline);

    /// Throws ServerFault, and QuestionFault with the server's error.
    void Ask(const Asked& asked, const std::string& question, Deadline deadline, Answer& answer);
    void Ask(const AskedSlots& asked, const std::string& question, Deadline deadline, Answer&);

private:
    RedisReply ReadReply(Deadline deadline);
    /// Read a reply that must be the last one.
    RedisReply ReadLastReply(Deadline deadline);

    const Server m_server;
    ServerStream m_stream;
    RedisReader m_reader;
};

} // namespace kwlookup
