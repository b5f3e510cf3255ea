// SPDX-License-Identifier: MIT
#include "servers/RedisCluster.h"
#include "plugins/redis/tests/RedisSupport.h"

#include <sstream>

namespace kwlookup {
namespace {

using testing::HasSubstr;

class RedisClusterTest : public RedisTest {
protected:
    static constexpr int KEYS = 60;

    RedisClusterTest() {
        for (int i = 0; i < KEYS; ++i)
            m_cluster.Run({"SET", Key(i), std::to_string(i)});
        m_cluster.WaitForReplicas();
    }

    static std::string Key(int i) { return "user" + std::to_string(i) + "@corp.lan"; }

    /// The number of keys found with their values. A fault does not count.
    static int Found(const KwLookupHolder& holder) {
        int found = 0;
        for (int i = 0; i < KEYS; ++i) {
            try {
                const Answer answer = Ask(holder, Key(i));
                EXPECT_EQ(answer.res, " " + std::to_string(i)); // never a miss
                ++found;
            } catch (const std::runtime_error&) {
            }
        }
        return found;
    }

    bool IsMaster(int node) { return m_cluster.Node(node).Run({"ROLE"}).rfind("master", 0) == 0; }

    /// The index of a master.
    int Master() { return IndexOf(true); }

    /// The index of a node that is one, or is not.
    int IndexOf(bool master) {
        for (int i = 0; i < RedisCluster::NODES; ++i)
            if (IsMaster(i) == master)
                return i;
        throw std::runtime_error("no such node");
    }

    /// How many commands `name` a node has received.
    long Calls(int node, const std::string& name) {
        const std::string stats = m_cluster.Node(node).Run({"INFO", "commandstats"});
        const std::string start = "cmdstat_" + name + ":calls=";
        const std::size_t at = stats.find(start);
        return at == std::string::npos ? 0 : std::stol(stats.substr(at + start.size()));
    }

    RedisCluster m_cluster;
};

TEST_F(RedisClusterTest, IsAskedThroughAnyOfItsNodes) {
    for (int i = 0; i < RedisCluster::NODES; ++i) {
        KwLookupHolder holder(m_log);
        holder.Init(Item(m_cluster.Node(i).GetHost()));
        EXPECT_EQ(Found(holder), KEYS);
        EXPECT_EQ(Ask(holder, "nobody"), Miss());
    }

    // Once the table is known, there are no more redirections.
    KwLookupHolder holder(m_log);
    holder.Init(Item(m_cluster.GetHosts()));
    EXPECT_EQ(Found(holder), KEYS);
    long calls = 0;
    for (int i = 0; i < RedisCluster::NODES; ++i)
        calls -= Calls(i, "get");
    EXPECT_EQ(Found(holder), KEYS);
    for (int i = 0; i < RedisCluster::NODES; ++i)
        calls += Calls(i, "get");
    EXPECT_EQ(calls, KEYS);

    // Replicas answer on request.
    KwLookupHolder replicas(m_log);
    replicas.Init(Item(m_cluster.Node(Master()).GetHost(), "ReadFrom=replica|GET $s"));
    long of_masters = 0;
    for (int i = 0; i < RedisCluster::NODES; ++i)
        if (IsMaster(i))
            of_masters -= Calls(i, "get");
    EXPECT_EQ(Found(replicas), KEYS);
    for (int i = 0; i < RedisCluster::NODES; ++i)
        if (IsMaster(i))
            of_masters += Calls(i, "get");
    EXPECT_EQ(of_masters, 0);

    // While a slot is being moved, keys that have moved already are found at the new node.
    const std::string slot = "{moving}";
    m_cluster.Run({"SET", slot + "old", "OK"});
    m_cluster.Run({"SET", slot + "gone", "OK"});
    std::istringstream number(m_cluster.Run({"CLUSTER", "KEYSLOT", "moving"}));
    std::string slot_number;
    number >> slot_number;
    // Its owner says so, all others MOVED.
    int from = -1, to = -1;
    for (int i = 0; i < RedisCluster::NODES; ++i) {
        if (!IsMaster(i))
            continue;
        try {
            m_cluster.Node(i).Run({"GET", slot + "old"});
            from = i;
        } catch (const std::runtime_error&) {
            to = i;
        }
    }
    ASSERT_GE(from, 0);
    ASSERT_GE(to, 0);
    const auto id = [&](int node) {
        std::string text = m_cluster.Node(node).Run({"CLUSTER", "MYID"});
        text.pop_back();
        return text;
    };
    m_cluster.Node(to).Run({"CLUSTER", "SETSLOT", slot_number, "IMPORTING", id(from)});
    m_cluster.Node(from).Run({"CLUSTER", "SETSLOT", slot_number, "MIGRATING", id(to)});
    m_cluster.Node(from).Run({"MIGRATE", "127.0.0.1", std::to_string(m_cluster.Node(to).GetPort()),
                              slot + "gone", "0", "5000"});
    for (const char* key : {"old", "gone"})
        EXPECT_EQ(Ask(holder, slot + key), (Answer{true, " OK", slot + key})) << key;
    m_cluster.Node(from).Run({"MIGRATE", "127.0.0.1", std::to_string(m_cluster.Node(to).GetPort()),
                              slot + "old", "0", "5000"});
    m_cluster.Node(to).Run({"CLUSTER", "SETSLOT", slot_number, "NODE", id(to)});
    m_cluster.Node(from).Run({"CLUSTER", "SETSLOT", slot_number, "NODE", id(to)});
    for (const char* key : {"old", "gone"})
        EXPECT_EQ(Ask(holder, slot + key), (Answer{true, " OK", slot + key})) << key;
}

TEST_F(RedisClusterTest, AsksAReplicaAgainThatWasAway) {
    const int replica = IndexOf(false);
    const int master = Master();
    const std::string name = std::to_string(m_cluster.Node(replica).GetPort()) + "\n";
    const auto is_known = [&](int node) {
        return m_cluster.Node(node).Run({"CLUSTER", "SLOTS"}).find(name) != std::string::npos;
    };
    m_cluster.SetNodeTimeout(std::chrono::seconds(1));
    m_cluster.Node(replica).Kill();
    ASSERT_TRUE(Eventually([&] { return !is_known(master); }));
    // The table is read without it.
    KwLookupHolder holder(m_log);
    holder.Init(Item(m_cluster.Node(master).GetHost(), "ReadFrom=replica|RetryInterval=1|GET $s"));
    EXPECT_EQ(Found(holder), KEYS);
    m_cluster.Node(replica).Restart();
    m_cluster.WaitForReplicas();
    EXPECT_TRUE(Eventually([&] { return Found(holder) == KEYS && Calls(replica, "get") > 0; }));
}

TEST_F(RedisClusterTest, OutlivesAMaster) {
    KwLookupHolder holder(m_log);
    holder.Init(Item(m_cluster.GetHosts()));
    KwLookupHolder replicas(m_log);
    replicas.Init(Item(m_cluster.GetHosts(), "ReadFrom=replica|GET $s"));
    EXPECT_EQ(Found(holder), KEYS);
    EXPECT_EQ(Found(replicas), KEYS);
    m_cluster.Node(Master()).Kill();
    const int left = Found(holder);
    EXPECT_GT(left, 0);
    EXPECT_LT(left, KEYS);
    EXPECT_EQ(Found(replicas), KEYS);
    m_cluster.SetNodeTimeout(std::chrono::seconds(2));
    EXPECT_TRUE(Eventually([&] { return Found(holder) == KEYS; }));
    EXPECT_TRUE(Eventually([&] { return Found(replicas) == KEYS; }));
}

} // namespace
} // namespace kwlookup
