// SPDX-License-Identifier: MIT
#include "tools/kwlookupd/lists/ListKeeper.h"

#include "kwlog/Logging.h"
#include "support/FailingAllocation.h"
#include "support/RecordingLog.h"
#include "support/TempDir.h"
#include "tools/kwlookupd/lists/Reloader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <optional>
#include <set>
#include <sstream>
#include <stdexcept>
#include <sys/resource.h>
#include <sys/stat.h>
#include <thread>

using namespace kwlookup;
using testing::HasSubstr;
using testing::Not;
using Kind = ListKeeper::LoadResult::Kind;

namespace {

const LogClass KEEPER_LOG("kwlookupd");

std::string Lines(int first, int last) {
    std::string lines;
    for (int i = first; i <= last; ++i)
        lines += "host" + std::to_string(i) + ".lan\n";
    return lines;
}

/// Lists of one file, "hosts", and what was published.
class ListKeeperTest : public testing::Test {
protected:
    ListKeeperTest() { RecordingLog::Reset(); }

    std::vector<ListSettings> Settings(const std::string& objects) {
        ListSettings settings;
        settings.name = "hosts";
        settings.objects = objects;
        settings.settle = std::chrono::milliseconds(0);
        return {settings};
    }

    void Write(const std::string& text) {
        m_dir.Write("new", text);
        std::filesystem::rename(m_dir.Path("new"), m_dir.Path("hosts"));
    }

    bool Has(const std::string& text) {
        const std::lock_guard<std::mutex> guard(m_lock);
        Reply reply;
        m_published->Ask(text, false, reply);
        return reply.outcome == Outcome::Found;
    }

    std::function<void(std::size_t, const ListKeeper::List&)> Publish() {
        return [this](std::size_t, const ListKeeper::List& list) {
            const std::lock_guard<std::mutex> guard(m_lock);
            m_published = list;
            list->ForEachValue([this](std::string_view key) { m_keys.emplace(key); });
            ++m_publications;
            m_changed.notify_all();
        };
    }

    /// Waits for a list with this key. A reloader that was told of no change would take longer.
    bool WaitFor(const std::string& key) {
        std::unique_lock<std::mutex> lock(m_lock);
        return m_changed.wait_for(lock, std::chrono::seconds(25),
                                  [&] { return m_keys.count(key) != 0; });
    }

    /// Waits until `holds`, for at most 25 seconds.
    template <typename Condition>
    static bool Becomes(const Condition& holds) {
        for (int i = 0; i < 25000; ++i) {
            if (holds())
                return true;
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        return false;
    }

    /// Waits until this process watches a directory.
    static bool IsWatched(const std::string& directory) {
        struct stat status {};
        std::ostringstream inode;
        if (::stat(directory.c_str(), &status) == 0)
            inode << " ino:" << std::hex << status.st_ino << ' ';
        for (int i = 0; i < 1000; ++i) {
            for (const auto& file : std::filesystem::directory_iterator("/proc/self/fdinfo")) {
                std::ifstream in(file.path());
                for (std::string line; std::getline(in, line);)
                    if (line.rfind("inotify ", 0) == 0 &&
                        line.find(inode.str()) != std::string::npos)
                        return true;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return false;
    }

    const TempDir m_dir;
    const std::string m_file = m_dir.Path("hosts");
    std::mutex m_lock;
    std::condition_variable m_changed;
    ListKeeper::List m_published;
    std::set<std::string> m_keys; ///< of all lists that were published
    int m_publications = 0;
    ListKeeper m_lists{Settings("file:" + m_file), KEEPER_LOG, Publish()};
};

} // namespace

TEST_F(ListKeeperTest, ReplacesAListWhole) {
    Write(Lines(1, 100));
    EXPECT_EQ(m_lists.Load(0, false).text, "+100 -0 =0");
    Write(Lines(11, 120));
    const ListKeeper::LoadResult result = m_lists.Load(0, false);
    EXPECT_EQ(result.kind, Kind::Swapped);
    EXPECT_EQ(result.text, "+20 -10 =90");
    EXPECT_FALSE(Has("host10.lan"));
    EXPECT_TRUE(Has("host120.lan"));
    EXPECT_EQ(m_lists.Load(0, false).kind, Kind::Unchanged);
    const ListState state = m_lists.GetState(0);
    EXPECT_TRUE(state.loaded);
    EXPECT_EQ(state.generation, 3u);
    EXPECT_EQ(state.records, 110u);
    EXPECT_EQ(state.fault, "");
    EXPECT_THAT(RecordingLog::Texts(LEVEL_NOTICE),
                testing::Contains("list hosts: loaded, +20 -10 =90"));
}

TEST_F(ListKeeperTest, KeepsAListThatCannotBeLoaded) {
    EXPECT_EQ(m_lists.Load(0, false).kind, Kind::Failed);
    EXPECT_EQ(m_publications, 0);
    EXPECT_FALSE(m_lists.GetState(0).loaded);
    const std::string fault = "the list has errors in [file:" + m_file + "], see the log";
    EXPECT_EQ(m_lists.GetState(0).fault, fault);
    Write(Lines(1, 10));
    m_lists.Load(0, false);
    std::filesystem::remove(m_file);
    EXPECT_EQ(m_lists.Load(0, false).kind, Kind::Failed);
    EXPECT_TRUE(Has("host1.lan"));
    EXPECT_THAT(RecordingLog::Texts(ERROR),
                testing::Contains("list hosts: " + fault + "; the old list stays in use"));
}

TEST_F(ListKeeperTest, RefusesAListThatHasShrunkTooMuch) {
    const struct {
        int before, after;
        Kind kind;
    } cases[] = {{10, 8, Kind::Swapped}, {10, 7, Kind::Refused},  {10, 0, Kind::Refused},
                 {1, 0, Kind::Refused},  {0, 0, Kind::Unchanged}, {0, 5, Kind::Swapped}};
    for (const auto& each : cases) {
        Write(Lines(1, each.before));
        m_lists.Load(0, true);
        Write(Lines(1, each.after));
        EXPECT_EQ(m_lists.Load(0, false).kind, each.kind) << each.before << " " << each.after;
    }
    Write(Lines(1, 10));
    m_lists.Load(0, true);
    Write("");
    EXPECT_EQ(m_lists.Load(0, false).text,
              "the new list has 0 records, the old one 10, and MaxShrink is 20 %; 'kwlookupd ctl "
              "reload hosts --force' takes it");
    EXPECT_TRUE(Has("host1.lan"));
    EXPECT_EQ(m_lists.Load(0, true).kind, Kind::Swapped);
    EXPECT_FALSE(Has("host1.lan"));
}

TEST_F(ListKeeperTest, GoesBackToTheListBefore) {
    Write("old.lan\n");
    m_lists.Load(0, false);
    EXPECT_THROW(m_lists.Rollback(0), std::runtime_error);
    Write("new.lan\n");
    m_lists.Load(0, false);
    EXPECT_EQ(m_lists.Rollback(0).text, "1 records");
    EXPECT_TRUE(Has("old.lan"));
    m_lists.Rollback(0);
    EXPECT_TRUE(Has("new.lan"));
    m_lists.Load(0, false); // the same once more
    m_lists.Rollback(0);
    EXPECT_TRUE(Has("old.lan"));
}

TEST_F(ListKeeperTest, TellsWhatARollbackChanged) {
    Write(Lines(1, 10));
    m_lists.Load(0, false);
    Write(Lines(3, 15));
    m_lists.Load(0, false);
    m_lists.Load(0, false); // the same once more
    Write("");
    EXPECT_EQ(m_lists.Load(0, false).kind, Kind::Refused);
    m_lists.Rollback(0);
    const ListState back = m_lists.GetState(0);
    EXPECT_TRUE(back.rolled_back);
    EXPECT_EQ(back.fault, "");
    EXPECT_EQ(back.records, 10u);
    EXPECT_EQ(back.added, 2u);
    EXPECT_EQ(back.removed, 5u);
    EXPECT_EQ(back.kept, 8u);
    m_lists.Rollback(0);
    const ListState newest = m_lists.GetState(0);
    EXPECT_FALSE(newest.rolled_back);
    EXPECT_EQ(newest.fault, "");
    EXPECT_EQ(newest.added, 5u);
    EXPECT_EQ(newest.removed, 2u);
    m_lists.Rollback(0);
    Write(Lines(1, 10));
    m_lists.Load(0, false);
    EXPECT_FALSE(m_lists.GetState(0).rolled_back);
}

TEST_F(ListKeeperTest, KeepsAListForItsSettingsOfPlugins) {
    Write("old.lan\n");
    m_lists.Load(0, false);
    Write("new.lan\n");
    m_lists.Load(0, false);
    m_lists.NoteNewSettings();
    m_lists.Load(0, false);
    m_lists.Load(0, false); // the same once more
    m_lists.Rollback(0);
    EXPECT_TRUE(Has("new.lan")) << "the list before had other settings";
}

TEST_F(ListKeeperTest, LoadsAChangedFileByItself) {
    Write("one.lan\n");
    m_lists.Load(0, false);
    Reloader reloader(
        m_lists, [](std::size_t, const ListKeeper::LoadResult&) {}, [] {});
    reloader.Start();
    ASSERT_TRUE(IsWatched(m_dir.Path(".")));
    Write("one.lan\ntwo.lan\n");
    EXPECT_TRUE(WaitFor("two.lan")) << "a new file under the old name";
    m_dir.Write("hosts", "one.lan\ntwo.lan\nthree.lan\n");
    EXPECT_TRUE(WaitFor("three.lan")) << "the same file with other content";
    std::filesystem::remove(m_file);
    m_dir.Write("hosts", "one.lan\ntwo.lan\nthree.lan\nfour.lan\n");
    EXPECT_TRUE(WaitFor("four.lan")) << "a file that was missing for a while";
}

TEST_F(ListKeeperTest, LoadsAllListsOnceHoweverOftenThatIsAskedFor) {
    Write("one.lan\n");
    m_lists.Load(0, false);
    std::atomic<int> loads{0}, preparations{0};
    Reloader reloader(
        m_lists, [&](std::size_t, const ListKeeper::LoadResult&) { ++loads; },
        [&] { ++preparations; });
    std::promise<void> held, release;
    reloader.Post([&] {
        held.set_value();
        release.get_future().wait();
    });
    reloader.Start();
    held.get_future().wait();
    for (int i = 0; i < 20; ++i)
        reloader.ReloadAll();
    release.set_value();
    EXPECT_TRUE(Becomes([&] { return loads == 1; }));
    reloader.ReloadAll();
    EXPECT_TRUE(Becomes([&] { return loads == 2; }));
    EXPECT_EQ(preparations, 2);
}

TEST_F(ListKeeperTest, TriesAgainToLoadAListAfterDescriptorsRanOut) {
    // UBSan needs a pipe when it first sees the type of an object. Let it see those of a fault now.
    m_lists.Load(0, false);
    Write("one.lan\n");
    m_lists.Load(0, false);
    Reloader reloader(
        m_lists, [](std::size_t, const ListKeeper::LoadResult&) {}, [] {},
        std::chrono::milliseconds(10));
    reloader.Start();
    ASSERT_TRUE(IsWatched(m_dir.Path(".")));
    m_dir.Write("new", "one.lan\ntwo.lan\n");
    rlimit old{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &old), 0);
    const rlimit none = {0, old.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);
    std::filesystem::rename(m_dir.Path("new"), m_file);
    EXPECT_TRUE(Becomes([&] { return m_lists.HasFailed(0); }));
    ::setrlimit(RLIMIT_NOFILE, &old);
    EXPECT_TRUE(WaitFor("two.lan"));
    EXPECT_TRUE(Becomes([&] { return !m_lists.HasFailed(0); }));
}

TEST_F(ListKeeperTest, TriesNoListAgainThatWasRefusedOrTakenBack) {
    Write(Lines(1, 10));
    m_lists.Load(0, false);
    Write(Lines(1, 9));
    m_lists.Load(0, false);
    const auto publications = m_publications;
    std::atomic<int> loads{0};
    Reloader reloader(
        m_lists, [&](std::size_t, const ListKeeper::LoadResult&) { ++loads; }, [] {},
        std::chrono::milliseconds(0));
    reloader.Start();
    const auto look = [&] { // between two jobs
        for (int i = 0; i < 10; ++i) {
            std::promise<void> done;
            reloader.Post([&] { done.set_value(); });
            done.get_future().wait();
        }
    };
    Write("");
    EXPECT_TRUE(Becomes([&] { return loads != 0; }));
    look();
    EXPECT_EQ(loads, 1) << "refused";
    std::filesystem::remove(m_file);
    EXPECT_TRUE(Becomes([&] { return loads >= 10; })) << "tried again";
    reloader.Post([&] { m_lists.Rollback(0); });
    look();
    const int before = loads;
    look();
    EXPECT_EQ(loads, before) << "taken back";
    EXPECT_EQ(m_publications, publications + 1);
}

TEST_F(ListKeeperTest, GoesOnLoadingAfterMemoryRanOut) {
    Write("one.lan\n");
    m_lists.Load(0, false);
    std::optional<FailingAllocation> failing; // outlives the thread that sets it
    Reloader reloader(
        m_lists, [](std::size_t, const ListKeeper::LoadResult&) {}, [] {},
        std::chrono::milliseconds(1));
    reloader.Start();
    ASSERT_TRUE(IsWatched(m_dir.Path(".")));
    // More allocations than the thread makes to notice a change and load the file.
    constexpr int MOST = 400;
    for (int after = 0; after < MOST; ++after) {
        std::promise<bool> had_failed;
        reloader.Post([&, after] {
            had_failed.set_value(!failing || failing->HasFailed());
            failing.emplace(after);
        });
        if (!had_failed.get_future().get())
            break;
        const std::string host = "host" + std::to_string(after) + ".lan";
        Write("one.lan\n" + host + '\n');
        ASSERT_TRUE(WaitFor(host)) << after;
    }
}

TEST_F(ListKeeperTest, WatchesWhereLinksLead) {
    std::filesystem::create_directory(m_dir.Path("first"));
    std::filesystem::create_directory(m_dir.Path("second"));
    std::filesystem::create_directory(m_dir.Path("links"));
    m_dir.Write("first/hosts", "one.lan\n");
    m_dir.Write("second/hosts", "one.lan\ntwo.lan\n");
    std::filesystem::create_symlink("first", m_dir.Path("current"));
    std::filesystem::create_symlink("../current/hosts", m_dir.Path("links/hosts"));
    ListKeeper lists(Settings("file:" + m_dir.Path("links/hosts")), KEEPER_LOG, Publish());
    lists.Load(0, false);
    Reloader reloader(
        lists, [](std::size_t, const ListKeeper::LoadResult&) {}, [] {});
    reloader.Start();
    for (const char* directory : {"links", "first", "."})
        ASSERT_TRUE(IsWatched(m_dir.Path(directory))) << directory;
    m_dir.Write("first/hosts", "one.lan\nthree.lan\n");
    EXPECT_TRUE(WaitFor("three.lan")) << "a file that a link leads to";
    std::filesystem::create_symlink("second", m_dir.Path("new"));
    std::filesystem::rename(m_dir.Path("new"), m_dir.Path("current"));
    EXPECT_TRUE(WaitFor("two.lan")) << "a link to another directory";
    EXPECT_TRUE(IsWatched(m_dir.Path("second")));
}

TEST_F(ListKeeperTest, LooksAtFilesThatItCannotWatch) {
    const std::string directory = m_dir.Path("made-later");
    ListKeeper lists(Settings("file:" + directory + "/hosts"), KEEPER_LOG, Publish());
    EXPECT_EQ(lists.Load(0, false).kind, Kind::Failed);
    Reloader reloader(
        lists, [](std::size_t, const ListKeeper::LoadResult&) {}, [] {});
    reloader.Start();
    std::filesystem::create_directory(directory);
    m_dir.Write("made-later/hosts", "one.lan\n");
    EXPECT_TRUE(WaitFor("one.lan"));
}

TEST_F(ListKeeperTest, LoadsAFileWhenItHasRestedForSettle) {
    using std::chrono::milliseconds;
    using std::chrono::steady_clock;
    std::vector<ListSettings> settings = Settings("file:" + m_file);
    settings[0].settle = milliseconds(300);
    Write("one.lan\n");
    ListKeeper lists(settings, KEEPER_LOG, Publish());
    lists.Load(0, false);
    Reloader reloader(
        lists, [](std::size_t, const ListKeeper::LoadResult&) {}, [] {});
    reloader.Start();
    // Two changes, the second before the first has rested. A busy machine may need several tries.
    std::string first, second;
    steady_clock::time_point changed;
    for (int i = 0; second.empty(); ++i) {
        ASSERT_LT(i, 100);
        first = "first" + std::to_string(i) + ".lan";
        const auto start = steady_clock::now();
        Write("one.lan\n" + first + '\n');
        std::this_thread::sleep_for(milliseconds(100));
        changed = steady_clock::now();
        const std::string next = "second" + std::to_string(i) + ".lan";
        Write("one.lan\n" + next + '\n');
        if (steady_clock::now() - start < settings[0].settle)
            second = next;
    }
    EXPECT_TRUE(WaitFor(second));
    EXPECT_GE(steady_clock::now() - changed, settings[0].settle);
    EXPECT_THAT(m_keys, Not(testing::Contains(first)));
}

TEST_F(ListKeeperTest, WaitsUntilAChangedFileHasRested) {
    std::vector<ListSettings> settings = Settings("file:" + m_file);
    settings[0].settle = std::chrono::hours(1);
    Write("one.lan\n");
    int loads = 0;
    ListKeeper lists(settings, KEEPER_LOG, [&](std::size_t, const ListKeeper::List&) { ++loads; });
    lists.Load(0, false);
    {
        Reloader reloader(
            lists, [](std::size_t, const ListKeeper::LoadResult&) {}, [] {});
        reloader.Start();
        Write("two.lan\n");
        // It looks at the files between two jobs.
        for (int i = 0; i < 100; ++i) {
            std::promise<void> done;
            reloader.Post([&] { done.set_value(); });
            done.get_future().wait();
        }
    }
    EXPECT_EQ(loads, 1);
}
