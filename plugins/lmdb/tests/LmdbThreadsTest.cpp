// SPDX-License-Identifier: MIT
#include "families/files/tests/RewrittenFileTest.h"
#include "plugins/lmdb/tests/LmdbFile.h"

#include <atomic>
#include <thread>

INSTANTIATE_TEST_SUITE_P(Formats, DatabaseThreadsTest, testing::Values("lmdb"),
                         [](const auto& test) { return std::string(test.param); });

INSTANTIATE_TEST_SUITE_P(Formats, RewrittenFileTest, testing::Values("lmdb"),
                         [](const auto& test) { return std::string(test.param); });

namespace {

/// The length of the map decides whether the file is copied into memory.
class LmdbThreadsTest : public DatabaseTest, public testing::WithParamInterface<std::size_t> {};

TEST_P(LmdbThreadsTest, SearchesBesideTransactions) {
    constexpr int THREADS = 8;
    const std::string name = m_dir.Path("table.lmdb");
    LmdbFile file(name, 0, GetParam() > (128 << 20) ? MDB_WRITEMAP : 0, GetParam());
    LmdbFile::Records records;
    for (int i = 0; i < 500; ++i)
        records.emplace_back("key" + std::to_string(i), "value" + std::to_string(i));
    file.Put(records);
    KwLookupHolder holder(m_log);
    holder.Init("lmdb:OnError=exception|Database=" + name + "|$s");
    std::atomic<int> wrong{0};
    std::atomic<int> running{THREADS};
    std::vector<std::thread> threads;
    for (int thread = 0; thread < THREADS; ++thread)
        threads.emplace_back([&] {
            for (int i = 0; i < 1000; ++i) {
                const std::string number = std::to_string(i % 500);
                try {
                    wrong += Ask(holder, "key" + number).res != " value" + number;
                    wrong += Ask(holder, "nokey" + number).found;
                } catch (const std::runtime_error& error) {
                    // The file was copied while it was written to.
                    wrong += std::string(error.what()).find("written to while it was read") ==
                             std::string::npos;
                }
            }
            --running;
        });
    for (int i = 0; running > 0; ++i) {
        file.Put({{"other" + std::to_string(i % 100), std::string(100, 'x')}});
        KwObjectHolder::BeforeReload(m_log);
        KwObjectHolder::AfterReload(m_log);
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(wrong, 0);
}

INSTANTIATE_TEST_SUITE_P(Sizes, LmdbThreadsTest,
                         testing::Values(std::size_t(16 << 20), std::size_t(200 << 20)));

} // namespace
