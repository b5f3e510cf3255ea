// SPDX-License-Identifier: MIT
#include "plugins/PluginSupport.h"

#include <atomic>
#include <thread>

namespace {

class PluginThreadsTest : public PluginTest {
protected:
    /// Asks `holder` in so many threads at once, from its first search on.
    void AskAtOnce(const KwLookupHolder& holder) {
        std::atomic<int> wrong{0};
        std::vector<std::thread> threads;
        for (int thread = 0; thread < 4; ++thread)
            threads.emplace_back([&holder, &wrong, thread] {
                for (int i = 0; i < 200; ++i) {
                    const std::string name = std::to_string(thread * 1000 + i);
                    wrong += Ask(holder, "user" + name + "@corp.lan").res != " " + name;
                    wrong += Ask(holder, "nobody" + name + "@corp.lan").found;
                    // Ends by the match limit.
                    wrong += Ask(holder, std::string(30, 'z') + "!").found;
                }
            });
        for (std::thread& thread : threads)
            thread.join();
        EXPECT_EQ(wrong, 0);
    }
};

TEST_F(PluginThreadsTest, OneRegex) {
    KwLookupHolder holder(m_log);
    holder.Init("regex:Result=$1|^user([0-9]+)@, regex:^(z+)+$");
    AskAtOnce(holder);
}

TEST_F(PluginThreadsTest, OneFile) {
    KwLookupHolder holder(m_log);
    holder.Init("rfile:" + m_dir.Write("patterns", "/^user([0-9]+)@corp/ $1\n^(z+)+$\nother\n"));
    AskAtOnce(holder);
}

TEST_F(PluginThreadsTest, AReloadBesideSearches) {
    KwLookupHolder holder(m_log);
    const std::string file = m_dir.Write("patterns", "/^user/ file\n");
    holder.Init("regex:OnError=ignore|Result=local|^user, rfile:" + file);
    std::atomic<bool> stop{false};
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 3; ++thread)
        threads.emplace_back([&] {
            while (!stop)
                wrong += Ask(holder, "user@corp.lan").res != " local file";
        });
    for (int i = 0; i < 20; ++i) {
        Configure("[lookup_regex]\nSkipDomains = corp.lan\n[lookup_rfile]\nSkipDomains = "
                  "corp.lan\n");
        KwLookupHolder other(m_log);
        other.Init("regex:^user, rfile:" + file);
        EXPECT_FALSE(Ask(other, "user@corp.lan").found);
    }
    stop = true;
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(wrong, 0);
}

} // namespace
