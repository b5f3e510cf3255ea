// SPDX-License-Identifier: MIT
// Searches in several threads while the file is replaced.
#include "plugins/DatabaseSupport.h"

#include "families/files/FileBytes.h"

#include <atomic>
#include <fstream>
#include <set>
#include <thread>

using namespace kwlookup;

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

    /// Cuts the file short, and writes another version into it in place.
    void Rewrite(int version, std::uintmax_t size) {
        using std::chrono::milliseconds;
        const std::string name = m_dir.Path("table");
        std::filesystem::resize_file(name, std::filesystem::file_size(Version(version)) / 2);
        // Times of change are some milliseconds apart, or they are equal.
        std::this_thread::sleep_for(milliseconds(10));
        {
            std::ifstream in(Version(version), std::ios::binary);
            std::fstream(name, std::ios::binary | std::ios::in | std::ios::out) << in.rdbuf();
        }
        std::filesystem::resize_file(name, std::max(size, std::filesystem::file_size(name)));
        std::this_thread::sleep_for(milliseconds(10));
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

/// The formats that are read without SQLite.
class RewrittenFileTest : public DatabaseThreadsTest {
protected:
    /// How many answers are not those of some version; a failed search is none.
    int WrongOrFailed(const KwLookupHolder& holder) {
        int wrong = 0;
        const auto ask = [&](const std::string& key, const std::string& res) {
            try {
                const Answer answer = Ask(holder, key);
                wrong += !answer.found || answer.res.compare(0, res.size(), res) != 0;
            } catch (const std::runtime_error& error) {
                const std::string reason = error.what();
                wrong += reason.find(": not a whole ") == std::string::npos &&
                         reason.find(": written to while it was read") == std::string::npos;
                ++m_failed;
            }
        };
        ask("version", " v");
        ask("key17", " value17");
        return wrong;
    }

    std::atomic<int> m_failed{0};
};

TEST_P(RewrittenFileTest, FailsOrAnswers) {
    for (const std::uintmax_t size :
         {std::uintmax_t(0), std::uintmax_t(FileBytes::COPY_LIMIT) + 1}) {
        SCOPED_TRACE(size);
        Replace(0);
        std::filesystem::resize_file(
            m_dir.Path("table"), std::max(size, std::filesystem::file_size(m_dir.Path("table"))));
        KwLookupHolder holder(m_log);
        holder.Init(m_list);
        std::atomic<int> wrong{0};
        std::atomic<bool> stop{false};
        std::vector<std::thread> threads;
        threads.emplace_back([&] {
            while (!stop)
                wrong += WrongOrFailed(holder);
        });
        threads.emplace_back([&] {
            while (!stop) {
                KwLookupHolder opened(m_log);
                opened.Init(m_list);
                wrong += WrongOrFailed(opened);
            }
        });
        m_failed = 0;
        for (int round = 0; round < 20; ++round)
            Rewrite(round % VERSIONS, size);
        stop = true;
        for (std::thread& thread : threads)
            thread.join();
        EXPECT_EQ(wrong, 0);
        EXPECT_GT(m_failed, 0);
    }
}

INSTANTIATE_TEST_SUITE_P(Formats, RewrittenFileTest, testing::Values("cdb", "hash", "btree"),
                         [](const auto& test) { return std::string(test.param); });

} // namespace
