// SPDX-License-Identifier: MIT
#include "plugins/redis/ClusterNodes.h"

#include "families/servers/ServerFault.h"

#include <algorithm>
#include <utility>

namespace kwlookup {
namespace {

constexpr int MOST_REDIRECTIONS = 16;
/// Otherwise each search for a key of a node that is down would read the table.
constexpr std::chrono::seconds REFRESH_INTERVAL(1);

} // namespace

ClusterNodes::ClusterNodes(std::shared_ptr<const ServerSettings> settings, bool from_replica)
    : m_settings(std::move(settings)), m_from_replica(from_replica) {}

const std::string& ClusterNodes::GetSlotsRequest() {
    static const std::string request = RedisRequest({"CLUSTER", "SLOTS"});
    return request;
}

void ClusterNodes::Learn(std::shared_ptr<const SlotTable> slots) {
    const std::vector<Server> all = slots->GetAllNodes();
    std::map<std::string, std::shared_ptr<Node>> gone; // destroyed after the lock is released
    const std::lock_guard<std::mutex> lock(m_lock);
    std::map<std::string, std::shared_ptr<Node>> kept;
    for (const Server& server : all) {
        const auto known = m_nodes.find(server.GetName());
        if (known != m_nodes.end())
            kept.insert(*known);
    }
    gone.swap(m_nodes);
    m_nodes.swap(kept);
    m_slots = std::move(slots);
    m_old_at = Deadline::Clock::now() + m_settings->retry_interval;
    m_known.store(true, std::memory_order_release);
}

std::shared_ptr<ClusterNodes::Node> ClusterNodes::NodeAt(const Server& server) {
    const std::lock_guard<std::mutex> lock(m_lock);
    std::shared_ptr<Node>& node = m_nodes[server.GetName()];
    if (!node) {
        const auto settings = std::make_shared<ServerSettings>(*m_settings);
        settings->servers = {server};
        node = std::make_shared<Node>(settings);
    }
    return node;
}

std::vector<Server> ClusterNodes::GroupOf(unsigned slot) {
    const std::lock_guard<std::mutex> lock(m_lock);
    return m_slots ? m_slots->NodesOf(slot) : std::vector<Server>();
}

std::vector<Server> ClusterNodes::InOrder(std::vector<Server> group) {
    if (!m_from_replica && group.size() > 1)
        group.resize(1);
    if (group.size() < 2)
        return group;
    std::rotate(group.begin(), group.begin() + 1, group.end());
    const unsigned replicas = static_cast<unsigned>(group.size()) - 1;
    std::rotate(group.begin(), group.begin() + m_turn++ % replicas, group.end() - 1);
    return group;
}

bool ClusterNodes::AskOneOf(const std::vector<Server>& nodes, const RedisConnection::Asked& asked,
                            const std::string& question, Deadline deadline, Answer& answer,
                            std::string& reasons) {
    for (const Server& server : nodes) {
        try {
            NodeAt(server)->Ask(asked, question, deadline, answer);
            return true;
        } catch (const ServerFault& fault) {
            reasons += (reasons.empty() ? "" : "; ") + std::string(fault.what());
            if (deadline.IsOver())
                throw ServerFault(reasons);
        }
    }
    return false;
}

void ClusterNodes::Ask(const RedisCommand& command, const std::string& question, Deadline deadline,
                       Answer& answer, std::optional<Redirection> redirection) {
    if (m_from_replica && IsOld())
        Refresh({}, deadline);
    const unsigned slot = SlotTable::SlotOf(RedisCommand::KeyOf(question));
    for (int redirections = 0; redirections <= MOST_REDIRECTIONS; ++redirections) {
        const std::vector<Server> group = GroupOf(slot);
        std::vector<Server> nodes = InOrder(group);
        bool asking = false;
        if (redirection) {
            nodes = {redirection->server};
            asking = redirection->kind == Redirection::Kind::Ask;
            if (!asking)
                Refresh(nodes, deadline);
        }
        std::string reasons;
        if (nodes.empty())
            reasons = "no node of the cluster has the slot " + std::to_string(slot);
        if (!AskOneOf(nodes, {command, asking, redirection}, question, deadline, answer, reasons)) {
            // Another node may have taken its place.
            Refresh({}, deadline);
            const bool redirected = std::exchange(redirection, std::nullopt).has_value();
            if (!redirected && GroupOf(slot) == group)
                throw ServerFault(reasons);
            continue;
        }
        if (!redirection)
            return;
        if (redirection->kind == Redirection::Kind::Down)
            throw ServerFault(redirection->text);
    }
    throw ServerFault("more than 16 redirections");
}

bool ClusterNodes::IsOld() {
    const std::lock_guard<std::mutex> lock(m_lock);
    return m_slots && Deadline::Clock::now() >= m_old_at;
}

void ClusterNodes::Refresh(const std::vector<Server>& first, Deadline deadline) {
    std::vector<Server> nodes = first;
    {
        const auto now = Deadline::Clock::now();
        const std::lock_guard<std::mutex> lock(m_lock);
        if (now < m_refresh_at)
            return;
        m_refresh_at = now + REFRESH_INTERVAL;
        m_old_at = now + m_settings->retry_interval;
        if (m_slots)
            for (const Server& server : m_slots->GetAllNodes())
                nodes.push_back(server);
    }
    nodes.insert(nodes.end(), m_settings->servers.begin(), m_settings->servers.end());
    Answer none(0);
    std::string reasons;
    const Deadline soon = deadline.Within(m_settings->connect_timeout);
    for (const Server& server : nodes) {
        std::shared_ptr<const SlotTable> slots;
        try {
            NodeAt(server)->Ask(RedisConnection::AskedSlots{slots}, GetSlotsRequest(), soon, none);
        } catch (const std::runtime_error&) {
            // Try another node.
        }
        if (slots)
            return Learn(std::move(slots));
        if (soon.IsOver())
            return;
    }
}

} // namespace kwlookup
