// SPDX-License-Identifier: MIT
#include "plugins/redis/RedisSource.h"

#include "families/servers/ServerFault.h"
#include "plugins/redis/RedisConfig.h"

#include <optional>

namespace kwlookup {

RedisSource::RedisSource(const std::shared_ptr<const ServerSettings>& settings)
    : m_servers(settings), m_cluster(settings, settings->of_type == RedisConfig::READ_FROM_REPLICA),
      m_look_for_cluster(settings->of_type == RedisConfig::READ_FROM_REPLICA) {}

void RedisSource::Ask(const RedisCommand& command, const std::string& question, Deadline deadline,
                      Answer& answer) {
    if (m_look_for_cluster) {
        std::shared_ptr<const SlotTable> slots;
        m_servers.Ask(RedisConnection::AskedSlots{slots}, ClusterNodes::GetSlotsRequest(), deadline,
                      answer);
        if (slots)
            m_cluster.Learn(std::move(slots));
        m_look_for_cluster = false;
    }
    std::optional<Redirection> redirection;
    if (!m_cluster.IsKnown()) {
        m_servers.Ask(RedisConnection::Asked{command, false, redirection}, question, deadline,
                      answer);
        if (!redirection)
            return;
        if (redirection->kind == Redirection::Kind::Down)
            throw ServerFault(redirection->text);
    }
    m_cluster.Ask(command, question, deadline, answer, std::move(redirection));
}

} // namespace kwlookup
