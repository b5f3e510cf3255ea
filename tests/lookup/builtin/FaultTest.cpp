// SPDX-License-Identifier: MIT

// The lookups when the system fails: no lock, no memory, no file.

#include "lookup/builtin/KwFileLookup.h"

#include "kwhost/AddressFinder.h"
#include "lookup/KwLookupHolder.h"
#include "lookup/builtin/FailingSystem.h"
#include "lookup/builtin/ProbeFinder.h"
#include "lookup/builtin/StringList.h"
#include "support/FailingAllocation.h"
#include "support/RecordingLog.h"
#include "support/TempDir.h"

#include <boost/thread/exceptions.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <memory>
#include <stdexcept>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using namespace kwlookup;

std::vector<std::string> RecordsOf(const KwVectorStrLookup& list) {
    const ProbeFinder finder("no such record");
    std::string res;
    EXPECT_FALSE(list.Find(finder, &res, 0, nullptr));
    return finder.asked;
}

bool Has(const KwVectorStrLookup& list, const ProbeFinder& finder, int flags = FIND_EXACT) {
    return list.Find(finder, nullptr, flags, nullptr);
}

class FaultTest : public testing::Test {
protected:
    FaultTest() : m_log("list") { RecordingLog::Reset(); }

    TempDir m_dir;
    LogClass m_log;
};

TEST_F(FaultTest, WithoutALockNoListIsCreated) {
    std::unique_ptr<KwIfLookup> list;
    {
        const failing::Fault fault(failing::mutex_init, ENOMEM);
        EXPECT_THROW(list.reset(KwFileLookup::Create("")), boost::thread_resource_error);
        EXPECT_TRUE(fault.Happened());
    }
    list.reset(KwFileLookup::Create(""));
    EXPECT_NE(list, nullptr);
}

TEST_F(FaultTest, WithoutTheLockTheListStaysUnsorted) {
    const std::vector<std::string> values{"b", "A", "a"};
    for (const int flags : {FIND_EXACT + 0, NOCASE}) {
        for (const int error : {EINVAL, EAGAIN, EDEADLK}) {
            SCOPED_TRACE(strerror(error));
            const StringList list(values);
            const ProbeFinder finder("b");
            {
                const failing::Fault fault(failing::mutex_lock, error);
                EXPECT_THROW(Has(list, finder, flags), boost::lock_error);
                EXPECT_TRUE(fault.Happened());
            }
            EXPECT_EQ(RecordsOf(list), values);
            EXPECT_TRUE(Has(list, finder, flags));
            EXPECT_NE(RecordsOf(list), values);
        }
    }
}

TEST_F(FaultTest, ASortedListIsSearchedWithoutALock) {
    for (const char* last : {"c", "\xe9"}) {
        for (const int flags : {FIND_EXACT + 0, NOCASE}) {
            const StringList list({"b", "A", "a", last});
            const ProbeFinder finder("b");
            Has(list, finder, flags);
            RecordsOf(list);
            const failing::Fault fault(failing::mutex_lock, EINVAL, 0, true);
            EXPECT_NO_THROW(Has(list, finder, flags));
            EXPECT_NO_THROW(RecordsOf(list));
        }
    }
}

TEST_F(FaultTest, AfterTheFirstExactSearchNoSearchTakesALock) {
    std::vector<std::string> many(100, "b");
    many.back() = "a";
    const std::vector<std::string> lists[] = {{"b", "a"}, {"b", "A", "a", "\xe9"}, many};
    const AddressFinder address("x@a");
    std::string res;
    for (const auto& values : lists) {
        for (const int first : {FIND_EXACT + 0, NOCASE}) {
            const StringList list(values);
            const ProbeFinder finder("b");
            EXPECT_TRUE(Has(list, finder, first));
            const failing::Fault fault(failing::mutex_lock, EINVAL, 0, true);
            EXPECT_NO_THROW(EXPECT_TRUE(Has(list, finder, FIND_EXACT)));
            EXPECT_NO_THROW(EXPECT_TRUE(Has(list, finder, NOCASE)));
            EXPECT_NO_THROW(EXPECT_EQ(RecordsOf(list).size(), values.size()));
            EXPECT_NO_THROW(EXPECT_TRUE(list.Find(address, &res, 0, nullptr)));
        }
        const StringList unsorted(values);
        const failing::Fault fault(failing::mutex_lock, EINVAL, 0, true);
        EXPECT_NO_THROW(EXPECT_TRUE(unsorted.Find(address, &res, 0, nullptr)));
    }
}

TEST_F(FaultTest, WithoutMemoryTheListIsSortedLater) {
    // With 8-bit bytes and with equal strings, the order is needed besides an index.
    const std::vector<std::string> lists[] = {
        {"b", "A", "a"}, {"b", "A", "a", "\xe9"}, {"b", "A", "a", "B", "b"}};
    for (const auto& values : lists) {
        for (const int flags : {FIND_EXACT + 0, NOCASE}) {
            SCOPED_TRACE(testing::PrintToString(values) + " by flags " + std::to_string(flags));
            const ProbeFinder finder("A");
            const StringList undisturbed(values);
            const bool expected = Has(undisturbed, finder, flags);
            int calls = 0;
            for (bool failed = true; failed; ++calls) {
                ASSERT_LT(calls, 1000);
                const StringList list(values);
                {
                    const FailingAllocation allocation(calls);
                    try {
                        Has(list, finder, flags);
                    } catch (const std::bad_alloc&) {
                    }
                    failed = allocation.HasFailed();
                }
                if (failed && calls == 0) {
                    EXPECT_EQ(RecordsOf(list), values);
                }
                EXPECT_EQ(Has(list, finder, flags), expected);
                EXPECT_EQ(RecordsOf(list), RecordsOf(undisturbed));
                StringList more(values);
                more.Init("0");
                EXPECT_TRUE(Has(more, ProbeFinder("0"), flags));
            }
            EXPECT_GT(calls, 2);
        }
    }
}

TEST_F(FaultTest, WithoutMemoryAPushKeepsTheList) {
    for (int calls = 0;; ++calls) {
        ASSERT_LT(calls, 1000);
        StringList list({"b", "a", "C"});
        EXPECT_TRUE(Has(list, ProbeFinder("a")));
        const std::string longer_than_inline(100, 'x');
        bool failed = false;
        {
            const FailingAllocation allocation(calls);
            try {
                list.Init(longer_than_inline);
            } catch (const std::bad_alloc&) {
                failed = true;
            }
        }
        EXPECT_EQ(list.GetCount(), failed ? 3u : 4u);
        EXPECT_TRUE(Has(list, ProbeFinder("a")));
        EXPECT_TRUE(Has(list, ProbeFinder("b")));
        EXPECT_EQ(Has(list, ProbeFinder(longer_than_inline)), !failed);
        if (!failed)
            break;
    }
}

TEST_F(FaultTest, WithoutMemoryALoadKeepsTheOldRecords) {
    const std::string old = m_dir.Write("old", "b\na\n");
    std::string bytes;
    for (int i = 0; i < 50; ++i)
        bytes += std::string(i, 'x') + "\n";
    bytes += std::string(300 * 1024, 'y'); // the buffer of lines must grow
    const std::string name = m_dir.Write("new", bytes);
    bool reported_by_name = false;
    for (const bool with_logger : {false, true}) {
        int calls = 0;
        for (bool failed = true; failed; ++calls) {
            SCOPED_TRACE("allocation " + std::to_string(calls));
            ASSERT_LT(calls, 1000);
            KwFileLookup list;
            if (with_logger)
                list.InitLog(m_log);
            list.Init(old);
            EXPECT_TRUE(Has(list, ProbeFinder("a")));
            failed = false;
            {
                const FailingAllocation allocation(calls);
                try {
                    list.Init(name);
                } catch (const std::bad_alloc&) {
                    failed = true;
                } catch (const std::invalid_argument& error) {
                    EXPECT_EQ(error.what(),
                              "Can not load file '" + name + "': Cannot allocate memory");
                    failed = reported_by_name = true;
                }
            }
            // The logger is called after the file is loaded.
            const bool told = with_logger && list.GetDescription() == name;
            if (failed && !told) {
                EXPECT_THAT(RecordsOf(list), ElementsAre("a", "b"));
                EXPECT_EQ(list.GetDescription(), old);
            } else {
                EXPECT_EQ(list.GetCount(), 50u);
                EXPECT_EQ(list.GetDescription(), name);
            }
        }
        EXPECT_GT(calls, 30);
    }
    EXPECT_TRUE(reported_by_name);
}

std::string g_growing;

TEST_F(FaultTest, AGrowingFileIsReadUpToItsSizeWhenOpened) {
    const struct {
        std::string bytes;
        std::size_t records;
    } cases[] = {{"", 0}, {"a\nb\n", 2}, {"a\nhalf a li", 2}};
    for (const auto& c : cases) {
        g_growing = m_dir.Write("list", c.bytes);
        static int reads;
        reads = 0;
        failing::before_read = [] {
            if (++reads > 100) // end a loop that would never end
                return;
            std::ofstream file(g_growing, std::ios::app);
            file << "ne\nmore\n";
        };
        KwFileLookup list;
        list.Init(g_growing);
        failing::before_read = nullptr;
        EXPECT_EQ(list.GetCount(), c.records);
        list.Init(g_growing);
        EXPECT_GE(list.GetCount(), c.records + reads) << "the next load has the rest";
    }
}

std::string ReportedErrors() {
    RecordingLog::Reset();
    LogClass log("report");
    try {
        KwObjectHolder::AfterReload(log);
    } catch (const std::domain_error&) {
    }
    std::string all;
    for (const std::string& text : RecordingLog::Texts(log4cxx::Level::LEVEL_ERROR))
        all += text + "\n";
    return all;
}

TEST_F(FaultTest, AReadErrorIsCollectedForItsItem) {
    const std::string item = "file:" + m_dir.Write("list", "a\nb\nc\n");
    KwLookupHolder holder(m_log);
    failing::bad_sector = 4;
    holder.Init("x, " + item + ", y");
    // Without a holder there is no item to collect the error for.
    KwFileLookup().Init(m_dir.Path("list"));
    failing::bad_sector = -1;
    EXPECT_EQ(holder.GetObjects().size(), 3u);
    EXPECT_TRUE(holder.Find(ProbeFinder("b"), nullptr, FIND_EXACT, nullptr)) << "what was read";
    EXPECT_FALSE(holder.Find(ProbeFinder("c"), nullptr, FIND_EXACT, nullptr));
    EXPECT_THAT(RecordingLog::Texts(log4cxx::Level::LEVEL_ERROR), IsEmpty());
    EXPECT_EQ(RecordingLog::Texts(log4cxx::Level::LEVEL_WARN).size(), 1u);
    EXPECT_EQ(ReportedErrors(), "last lookups/storage errors:\n  Error in init lookup [" + item +
                                    "]: read error after 2 records: Input/output error\n");
    EXPECT_EQ(ReportedErrors(), "");
    holder.Init(item);
    EXPECT_TRUE(holder.Find(ProbeFinder("c"), nullptr, FIND_EXACT, nullptr));
    EXPECT_EQ(ReportedErrors(), "");
    KwObjectHolder::CollectItemError("outside of any item");
    EXPECT_EQ(ReportedErrors(), "");
}

TEST_F(FaultTest, AReadErrorEndsTheFileAndIsReported) {
    std::string bytes;
    for (int i = 0; i < 100000; ++i)
        bytes += "user" + std::to_string(100000 + i) + "\n"; // 11 bytes each
    const std::string name = m_dir.Write("list", bytes);
    const struct {
        off_t at;
        std::size_t records;
        std::string last;
    } cases[] = {
        {0, 0, ""},
        {11, 1, "user100000"},
        {12, 2, "u"}, // an incomplete last line is a record, as at the end of a file
        {21, 2, "user100001"},
        {128 * 1024, 11916, "user111"},
        {500 * 11, 500, "user100499"},
        {99999 * 11, 99999, "user199998"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.at);
        RecordingLog::Reset();
        KwFileLookup list;
        list.InitLog(m_log);
        failing::bad_sector = c.at;
        EXPECT_NO_THROW(list.Init(name));
        failing::bad_sector = -1;
        EXPECT_EQ(list.GetCount(), c.records);
        EXPECT_EQ(list.GetDescription(), name);
        const std::vector<std::string> records = RecordsOf(list);
        EXPECT_EQ(records.empty() ? "" : records.back(), c.last);
        const std::string count = std::to_string(c.records);
        const std::vector<RecordingLog::Line> expected{
            {log4cxx::Level::LEVEL_WARN, "list",
             "KwFileLookup: read error in " + name + " after " + count +
                 " records: Input/output error"},
            {log4cxx::Level::LEVEL_DEBUG, "list",
             "KwFileLookup: loaded " + count + " records from " + name + " file."}};
        EXPECT_EQ(RecordingLog::GetLines(), expected);
    }
    RecordingLog::Reset(log4cxx::Level::LEVEL_ERROR);
    KwFileLookup quiet, without;
    quiet.InitLog(m_log);
    failing::bad_sector = 11;
    quiet.Init(name);
    without.Init(name);
    failing::bad_sector = -1;
    EXPECT_THAT(RecordingLog::GetLines(), IsEmpty());
    EXPECT_EQ(without.GetCount(), 1u);
}

TEST_F(FaultTest, AnInterruptedCallIsRepeated) {
    const std::string name = m_dir.Write("list", "a\nb" + std::string(300 * 1024, 'x') + "\nc");
    KwFileLookup list;
    list.InitLog(m_log);
    {
        const failing::Fault fault(failing::open, EINTR);
        failing::interrupt_reads = true;
        EXPECT_NO_THROW(list.Init(name));
        failing::interrupt_reads = false;
        EXPECT_TRUE(fault.Happened());
    }
    EXPECT_EQ(list.GetCount(), 3u);
    EXPECT_THAT(RecordingLog::Texts(log4cxx::Level::LEVEL_WARN), IsEmpty());
}

TEST_F(FaultTest, AFileThatCannotBeOpenedIsReportedWithTheReason) {
    const std::string name = m_dir.Write("list", "a");
    KwFileLookup list;
    list.Init(name);
    for (failing::Countdown* call : {&failing::open, &failing::fstat}) {
        for (const int error : {EACCES, EMFILE, ENOMEM, EIO}) {
            const std::string expected = "Can not load file '" + name + "': " + strerror(error);
            std::string text;
            {
                const failing::Fault fault(*call, error);
                try {
                    list.Init(name);
                } catch (const std::invalid_argument& reason) {
                    text = reason.what();
                }
                EXPECT_TRUE(fault.Happened());
            }
            EXPECT_EQ(text, expected);
            EXPECT_EQ(list.GetCount(), 1u);
        }
    }
    const std::string more = m_dir.Write("more", "a\nb\n");
    {
        const failing::Fault fault(failing::fstat, EIO, 1);
        list.Init(more);
        EXPECT_TRUE(fault.Happened());
    }
    EXPECT_EQ(list.GetCount(), 2u) << "without its size it is read to its end";
}

} // namespace
