// SPDX-License-Identifier: MIT
#pragma once

#include "support/PluginSupport.h"

#include <atomic>
#include <string>
#include <thread>
#include <vector>

/// Tests of patterns that several threads search at once.
class PatternThreadsTest : public PluginTest {
protected:
    /// Ask the list, which has the patterns "^user([0-9]+)@" with the result "$1" and "^(z+)+$",
    /// in several threads from its first search on.
    void AskAtOnce(const std::string& list) {
        KwLookupHolder holder(m_log);
        holder.Init(list);
        std::atomic<int> wrong{0};
        std::vector<std::thread> threads;
        for (int thread = 0; thread < 4; ++thread)
            threads.emplace_back([&holder, &wrong, thread] {
                for (int i = 0; i < 200; ++i) {
                    const std::string name = std::to_string(thread * 1000 + i);
                    wrong += Ask(holder, "user" + name + "@corp.lan").res != " " + name;
                    wrong += Ask(holder, "nobody" + name + "@corp.lan").found;
                    // Ends at the match limit.
                    wrong += Ask(holder, std::string(30, 'z') + "!").found;
                }
            });
        for (std::thread& thread : threads)
            thread.join();
        EXPECT_EQ(wrong, 0);
    }

    /// Ask the list, which has `result` for user@corp.lan, while its type is reloaded with
    /// corp.lan among SkipDomains. The list keeps the old configuration.
    void AskBesideReloads(const std::string& type, const std::string& list,
                          const std::string& result) {
        KwLookupHolder holder(m_log);
        holder.Init(list);
        std::atomic<bool> stop{false};
        std::atomic<int> wrong{0};
        std::vector<std::thread> threads;
        for (int thread = 0; thread < 3; ++thread)
            threads.emplace_back([&] {
                while (!stop)
                    wrong += Ask(holder, "user@corp.lan").res != " " + result;
            });
        for (int i = 0; i < 20; ++i) {
            Configure("[lookup_" + type + "]\nSkipDomains = corp.lan\n");
            EXPECT_FALSE(AskList(list, "user@corp.lan").found);
        }
        stop = true;
        for (std::thread& thread : threads)
            thread.join();
        EXPECT_EQ(wrong, 0);
    }
};
