// SPDX-License-Identifier: MIT
#include "support/DatabaseSupport.h"
#include "support/StorageSupport.h"

#include <atomic>
#include <thread>

namespace {

using SqliteStorageThreadsTest = DatabaseTest;

TEST_F(SqliteStorageThreadsTest, EightThreadsStoreAtOnce) {
    constexpr int THREADS = 8;
    constexpr int RECORDS = 20;
    const std::string name = m_dir.Path("seen.db");
    RunSql(name, "pragma journal_mode = wal; create table seen (address text);");
    KwStorageHolder holder(m_log);
    holder.Init("sqlite:OnError=exception|Timeout=1m|Database=" + name +
                "|insert into seen values (:address<varchar>)");
    std::atomic<int> errors{0};
    std::vector<std::thread> threads;
    for (int thread = 0; thread < THREADS; ++thread)
        threads.emplace_back([&, thread] {
            for (int i = 0; i < RECORDS; ++i) {
                const std::string address =
                    std::to_string(thread) + "-" + std::to_string(i) + "@corp.lan";
                errors += !StoreError(holder, Record({{"address", address}})).empty();
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(errors, 0);
    KwLookupHolder lookup(m_log);
    lookup.Init("sqlite:Database=" + name + "|select address from seen where address = '$s'");
    for (int thread = 0; thread < THREADS; ++thread)
        for (int i = 0; i < RECORDS; ++i) {
            const std::string address =
                std::to_string(thread) + "-" + std::to_string(i) + "@corp.lan";
            EXPECT_EQ(Ask(lookup, address).res, " " + address);
        }
}

} // namespace
