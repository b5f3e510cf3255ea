// SPDX-License-Identifier: MIT
// Searches in several threads while the file is replaced.
#include "plugins/DatabaseSupport.h"

#include <atomic>
#include <set>
#include <thread>

namespace {

using namespace std::string_literals;

constexpr int VERSIONS = 4;

/// The parameter is the format of the file.
class DatabaseThreadsTest : public DatabaseTest, public testing::WithParamInterface<const char*> {
protected:
    DatabaseThreadsTest() {
        for (int version = 0; version < VERSIONS; ++version) {
            Records records{{"version", "v" + std::to_string(version)}};
            for (int i = 0; i < 100; ++i)
                records.emplace_back("key" + std::to_string(i), "value" + std::to_string(i));
            Make(records, Version(version));
        }
        Replace(0);
        const bool key = GetParam() != "sqlite"s;
        const std::string type = GetParam() == "cdb"s || !key ? GetParam() : "berkeley";
        m_list = type + ":OnError=exception|Database=" + m_dir.Path("table") + "|" +
                 (key ? "$s" : "select result from access where address = '$s'");
    }

    static void Make(const Records& records, const std::string& name) {
        if (GetParam() != "sqlite"s)
            return MakeKeyValueFile(GetParam(), name, records);
        std::string statements = "create table access (address text primary key, result text);\n";
        for (const auto& [address, result] : records)
            statements += "insert into access values ('" + address + "', '" + result + "');\n";
        RunSql(name, "begin;\n" + statements + "commit;\n");
    }

    /// Lets a new file take the name.
    void Replace(int version) {
        std::filesystem::copy_file(Version(version), m_dir.Path("next"));
        Rename(m_dir.Path("next"), m_dir.Path("table"));
    }

    /// How many answers are not what each version of the file gives; notes the version.
    static int Wrong(const KwLookupHolder& holder, std::set<std::string>& versions) {
        int wrong = 0;
        for (int i = 0; i < 20; ++i) {
            const std::string number = std::to_string(i * 5);
            const Answer expected{true, " value" + number, "key" + number};
            wrong += !(Ask(holder, "key" + number) == expected);
            wrong += Ask(holder, "nokey" + number).found;
        }
        versions.insert(Ask(holder, "version").res);
        return wrong;
    }

    std::string m_list;

private:
    std::string Version(int version) const { return m_dir.Path(std::to_string(version)); }
};

TEST_P(DatabaseThreadsTest, FilesAreReplacedBesideSearches) {
    KwLookupHolder holder(m_log);
    holder.Init(m_list);
    const auto before = OpenFiles();
    std::atomic<int> wrong{0}, running{0};
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 3; ++thread) {
        ++running;
        threads.emplace_back([&] {
            try {
                std::set<std::string> versions;
                while (versions.size() < 2)
                    wrong += Wrong(holder, versions);
            } catch (const std::exception& error) {
                ADD_FAILURE() << error.what();
            }
            --running;
        });
    }
    // Threads that come and go.
    threads.emplace_back([&] {
        while (running > 0)
            std::thread([&] {
                try {
                    std::set<std::string> versions;
                    wrong += Wrong(holder, versions);
                } catch (const std::exception& error) {
                    ADD_FAILURE() << error.what();
                }
            }).join();
    });
    for (int version = 1; running > 0; version = (version + 1) % VERSIONS) {
        Replace(version);
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(wrong, 0);
    // What they had open went with them.
    EXPECT_EQ(OpenFiles(), before);
}

TEST_P(DatabaseThreadsTest, ListsComeAndGoWhileThreadsStay) {
    const auto before = OpenFiles();
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 3; ++thread)
        threads.emplace_back([&] {
            for (int i = 0; i < 20; ++i) {
                KwLookupHolder holder(m_log);
                holder.Init(m_list);
                std::set<std::string> versions;
                wrong += Wrong(holder, versions);
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(OpenFiles(), before);
}

INSTANTIATE_TEST_SUITE_P(Formats, DatabaseThreadsTest,
                         testing::Values("cdb", "hash", "btree", "sqlite"),
                         [](const auto& test) { return std::string(test.param); });

} // namespace
