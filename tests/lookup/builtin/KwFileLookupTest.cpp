// SPDX-License-Identifier: MIT
#include "lookup/builtin/KwFileLookup.h"

#include "lookup/builtin/ProbeFinder.h"
#include "support/RecordingLog.h"
#include "support/TempDir.h"
#include "support/TestLocale.h"
#include "text/FileDescriptor.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

using namespace std::string_literals;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using namespace kwlookup;
using Records = std::vector<std::string>;

Records RecordsOf(const KwFileLookup& list) {
    const ProbeFinder finder("no such record");
    std::string res;
    EXPECT_FALSE(list.Find(finder, &res, 0, nullptr));
    EXPECT_EQ(finder.asked.size(), list.GetCount());
    return finder.asked;
}

bool Has(const KwFileLookup& list, const std::string& text, int flags = FIND_EXACT) {
    return list.Find(ProbeFinder(text), nullptr, flags, nullptr);
}

std::string LoadedLine(std::size_t count, const std::string& name) {
    return "KwFileLookup: loaded " + std::to_string(count) + " records from " + name + " file.";
}

class KwFileLookupTest : public testing::Test {
protected:
    KwFileLookupTest() : m_log("list") {
        RecordingLog::Reset();
        m_list.InitLog(m_log);
    }

    Records Load(const std::string& bytes) {
        m_list.Init(m_dir.Write("list", bytes));
        return RecordsOf(m_list);
    }

    TempDir m_dir;
    LogClass m_log;
    KwFileLookup m_list;
};

TEST_F(KwFileLookupTest, LoadsTheLinesThatAreNotBlank) {
    const std::string name = m_dir.Write("list", "a\n  b  \n\n   \nc");
    EXPECT_EQ(m_list.GetDescription(), "");
    m_list.Init(name);
    EXPECT_THAT(RecordsOf(m_list), ElementsAre("a", "b", "c"));
    EXPECT_EQ(m_list.GetDescription(), name);
    const std::vector<RecordingLog::Line> expected{
        {log4cxx::Level::LEVEL_DEBUG, "list", LoadedLine(3, name)}};
    EXPECT_TRUE(RecordingLog::GetLines() == expected);
}

TEST_F(KwFileLookupTest, TakesBytesAsTheyAre) {
    const struct {
        std::string bytes;
        Records expected;
    } cases[] = {
        {"", {}},
        {"\n", {}},
        {"\n\n\n", {}},
        {" \t\r\v\f\n", {}},
        {"a", {"a"}},
        {"a\n", {"a"}},
        {"a\n\n", {"a"}},
        {"a\r\nb\r\n", {"a", "b"}},
        {"a\rb\n", {"a\rb"}},
        {"\t\v\f a b \t\n", {"a b"}},
        {"# comment\n; x\n// y", {"# comment", "; x", "// y"}},
        {"\"a\"\na,b\na\\\nb", {"\"a\"", "a,b", "a\\", "b"}},
        {"b\na\nb\na", {"b", "a", "b", "a"}},
        {"\0\na\0b\n\0 \n"s, {"\0"s, "a\0b"s, "\0"s}},
        {"\xef\xbb\xbf"
         "a\n\xa0\xe9\xa0\n",
         {"\xef\xbb\xbf"
          "a",
          "\xa0\xe9\xa0"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE("[" + c.bytes + "]");
        RecordingLog::Reset();
        EXPECT_EQ(Load(c.bytes), c.expected);
        EXPECT_THAT(RecordingLog::Texts(5),
                    ElementsAre(LoadedLine(c.expected.size(), m_dir.Path("list"))));
    }
}

TEST_F(KwFileLookupTest, FindsItsRecords) {
    Load("# not a comment\nAlpha\n beta\ngamma \n");
    EXPECT_TRUE(Has(m_list, "# not a comment"));
    EXPECT_TRUE(Has(m_list, "beta"));
    EXPECT_FALSE(Has(m_list, "alpha"));
    EXPECT_FALSE(Has(m_list, ""));
    std::string matched;
    EXPECT_TRUE(m_list.Find(ProbeFinder("gamma"), nullptr, FIND_EXACT, &matched));
    EXPECT_EQ(matched, "gamma");

    Load("Alpha\nbeta");
    EXPECT_TRUE(Has(m_list, "aLPHA", FIND_EXACT | FIND_NOCASE));
    std::string res;
    EXPECT_TRUE(m_list.Find(ProbeFinder("beta"), &res, 0, &matched));
    EXPECT_EQ(matched, "beta");
}

TEST_F(KwFileLookupTest, TrimsTheWhiteSpaceOfTheGlobalLocale) {
    const std::string bytes = "\xa0\x61\xa0\n_b_\n_\n";
    EXPECT_THAT(Load(bytes), ElementsAre("\xa0\x61\xa0", "_b_", "_"));
    TestBytes mine = TestBytes::Latin1();
    mine.space['_'] = true;
    mine.space[' '] = false;
    mine.space['\n'] = false;
    const GlobalLocale global(mine.GetLocale());
    EXPECT_THAT(Load(bytes), ElementsAre("a", "b"));
    EXPECT_THAT(Load(" \n c_"), ElementsAre(" ", " c"));
}

TEST_F(KwFileLookupTest, WritesCountsWithoutDigitGrouping) {
    std::string bytes;
    for (int i = 0; i < 1234; ++i)
        bytes += "x\n";
    const GlobalLocale global(GroupingLocale());
    EXPECT_EQ(Load(bytes).size(), 1234u);
    EXPECT_THAT(RecordingLog::Texts(5), ElementsAre("KwFileLookup: loaded 1234 records from " +
                                                    m_dir.Path("list") + " file."));
}

TEST_F(KwFileLookupTest, LogsOnlyEnabledLevelsAndOnlyWithALogger) {
    RecordingLog::Reset(log4cxx::Level::LEVEL_WARN);
    Load("a");
    EXPECT_THAT(RecordingLog::GetLines(), IsEmpty());
    RecordingLog::Reset();
    KwFileLookup without;
    without.Init(m_dir.Path("list"));
    EXPECT_EQ(without.GetCount(), 1u);
    EXPECT_THAT(RecordingLog::GetLines(), IsEmpty());
}

TEST_F(KwFileLookupTest, LoadsAnEmptyFile) {
    Load("old");
    const std::string name = m_dir.Write("empty", "");
    m_list.Init(name);
    EXPECT_EQ(m_list.GetCount(), 0u);
    EXPECT_EQ(m_list.GetDescription(), name);
    EXPECT_FALSE(Has(m_list, "old"));
}

TEST_F(KwFileLookupTest, ASecondLoadReplacesRecordsAndOrder) {
    Load("b\na\nC");
    EXPECT_TRUE(Has(m_list, "a"));
    EXPECT_THAT(RecordsOf(m_list), ElementsAre("C", "a", "b"));
    const std::string name = m_dir.Write("second", "z\nY\nx\n");
    m_list.Init(name);
    EXPECT_THAT(RecordsOf(m_list), ElementsAre("z", "Y", "x"));
    EXPECT_EQ(m_list.GetDescription(), name);
    EXPECT_FALSE(Has(m_list, "A", FIND_EXACT | FIND_NOCASE));
    EXPECT_TRUE(Has(m_list, "y", FIND_EXACT | FIND_NOCASE));
    EXPECT_THAT(RecordsOf(m_list), ElementsAre("x", "Y", "z"));
}

TEST_F(KwFileLookupTest, AFailedLoadIsReportedAndKeepsTheRecords) {
    const std::string old = m_dir.Write("old", "b\na");
    m_list.Init(old);
    EXPECT_TRUE(Has(m_list, "a"));
    RecordingLog::Reset();

    ASSERT_EQ(::symlink("loop", m_dir.Path("loop").c_str()), 0);
    ASSERT_EQ(::symlink("gone", m_dir.Path("dangling").c_str()), 0);
    ASSERT_EQ(::mkdir(m_dir.Path("directory").c_str(), 0700), 0);
    const struct {
        std::string name;
        int error;
    } cases[] = {
        {m_dir.Path("missing"), ENOENT},
        {m_dir.Path("dangling"), ENOENT},
        {"", ENOENT},
        {old + "\0"s, ENOENT}, // a name with a NUL is not cut there
        {old + "\0.txt"s, ENOENT},
        {old + "/x", ENOTDIR},
        {m_dir.Path("loop"), ELOOP},
        {m_dir.Path(std::string(300, 'n')), ENAMETOOLONG},
        {"/" + std::string(1 << 20, 'n'), ENAMETOOLONG},
        {m_dir.Path("directory"), EISDIR},
        {m_dir.Path(""), EISDIR},
        {"/", EISDIR},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name.substr(0, 80));
        try {
            m_list.Init(c.name);
            ADD_FAILURE() << "loaded";
        } catch (const std::invalid_argument& error) {
            const std::string text = "Can not load file '" + c.name + "': " + strerror(c.error);
            EXPECT_STREQ(error.what(), text.c_str());
        }
        EXPECT_THAT(RecordsOf(m_list), ElementsAre("a", "b")) << "still in the order of the sort";
        EXPECT_TRUE(Has(m_list, "b"));
        EXPECT_EQ(m_list.GetDescription(), old);
    }
    EXPECT_THAT(RecordingLog::GetLines(), IsEmpty());
}

TEST_F(KwFileLookupTest, AFileThatTheUserMayNotReadIsReported) {
    const std::string name = m_dir.Write("secret", "a");
    ASSERT_EQ(::chmod(name.c_str(), 0), 0);
    const bool may_read_all = static_cast<bool>(FileDescriptor::OpenForReading(name));
    try {
        m_list.Init(name);
        EXPECT_TRUE(may_read_all);
    } catch (const std::invalid_argument& error) {
        EXPECT_FALSE(may_read_all);
        EXPECT_EQ(error.what(), "Can not load file '" + name + "': Permission denied");
    }
}

TEST_F(KwFileLookupTest, LoadsLinesAcrossBlocks) {
    constexpr std::size_t BLOCK = 128 * 1024;
    for (const std::size_t size : {BLOCK - 2, BLOCK - 1, BLOCK, BLOCK + 1, 3 * BLOCK + 5}) {
        SCOPED_TRACE(size);
        const std::string line(size, 'x');
        EXPECT_TRUE(Load(line + "\nend\n") == (Records{line, "end"}));
        EXPECT_TRUE(Load(line + " \n" + line) == (Records{line, line}));
    }
    std::string bytes;
    Records expected;
    for (int i = 0; i < 100000; ++i) {
        const std::string record = "user" + std::to_string(i) + "@example.com";
        bytes += record + (i % 3 ? "\n" : "\r\n");
        expected.push_back(record);
    }
    EXPECT_TRUE(Load(bytes) == expected);
}

TEST_F(KwFileLookupTest, LoadsAHundredMegabytesInOneLine) {
    constexpr std::size_t SIZE = 100'000'000;
    const std::string name = m_dir.Write("large", "a");
    {
        const FileDescriptor file(::open(name.c_str(), O_WRONLY | O_CLOEXEC));
        ASSERT_EQ(::pwrite(file.Get(), "z\nb", 3, SIZE - 1), 3); // a hole between a and z
    }
    m_list.Init(name);
    EXPECT_EQ(m_list.GetCount(), 2u);
    EXPECT_TRUE(Has(m_list, "b"));
    EXPECT_FALSE(Has(m_list, "a"));
    std::string whole(SIZE, '\0');
    whole.front() = 'a';
    whole.back() = 'z';
    EXPECT_TRUE(Has(m_list, whole));
}

TEST_F(KwFileLookupTest, LoadsManyBlankLines) {
    EXPECT_THAT(Load(std::string(1 << 20, '\n') + "a" + std::string(1 << 20, '\n')),
                ElementsAre("a"));
}

/// Returns the peak address space of this process, in KiB.
long PeakAddressSpace() {
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;)
        if (word == "VmPeak:") {
            long size = 0;
            status >> size;
            return size;
        }
    return -1;
}

TEST_F(KwFileLookupTest, NeedsNoMemoryForBlankLines) {
    std::string bytes;
    for (int i = 0; i < 8 << 20; ++i)
        bytes += "   \n";
    const std::string name = m_dir.Write("list", bytes + "a");
    const long before = PeakAddressSpace();
    m_list.Init(name);
    EXPECT_GT(before, 0);
    EXPECT_LT(PeakAddressSpace(), before + 64 * 1024);
    EXPECT_THAT(RecordsOf(m_list), ElementsAre("a"));
}

TEST_F(KwFileLookupTest, LoadsOnlyPipesOfTheProcess) {
    m_list.Init("/dev/null");
    EXPECT_EQ(m_list.GetCount(), 0u);

    int ends[2];
    ASSERT_EQ(::pipe2(ends, O_CLOEXEC), 0);
    const FileDescriptor reader(ends[0]);
    std::thread writer([&] {
        const FileDescriptor file(ends[1]);
        for (const char* piece : {"a\nb", "b\n", "c"})
            EXPECT_GT(::write(file.Get(), piece, strlen(piece)), 0);
    });
    m_list.Init("/dev/fd/" + std::to_string(reader.Get()));
    writer.join();
    EXPECT_THAT(RecordsOf(m_list), ElementsAre("a", "bb", "c"));

    const std::string fifo = m_dir.Path("fifo");
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    for (const std::string& name : {fifo, std::string("/dev/zero")}) {
        try {
            m_list.Init(name);
            ADD_FAILURE() << name;
        } catch (const std::invalid_argument& error) {
            EXPECT_EQ(error.what(), "Can not load file '" + name + "': not a regular file");
        }
    }
    EXPECT_THAT(RecordsOf(m_list), ElementsAre("a", "bb", "c"));
}

TEST_F(KwFileLookupTest, TakesNamesOfAnyBytes) {
    for (const char* file : {" blanks ", "\xff\xfe", "quote's", "new\nline"}) {
        const std::string name = m_dir.Write(file, "a");
        m_list.Init(name);
        EXPECT_EQ(m_list.GetDescription(), name);
        EXPECT_THAT(RecordsOf(m_list), ElementsAre("a"));
    }
}

TEST_F(KwFileLookupTest, IsCreatedEmptyWithAnyText) {
    const std::string name = m_dir.Write("list", "a");
    const std::unique_ptr<KwIfLookup> created(KwFileLookup::Create(name));
    auto* list = dynamic_cast<KwFileLookup*>(created.get());
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(list->GetCount(), 0u);
    EXPECT_EQ(list->GetDescription(), "");
    EXPECT_EQ(list->GetLogPtr(), nullptr);
    created->InitLog(m_log);
    EXPECT_EQ(created->GetLogPtr(), &m_log);
    created->Init(name);
    EXPECT_TRUE(Has(*list, "a"));
}

TEST_F(KwFileLookupTest, ALoggerThatFailsFindsTheFileLoaded) {
    m_list.Init(m_dir.Write("old", "old"));
    RecordingLog::FailOn("loaded");
    const std::string name = m_dir.Write("new", "new");
    EXPECT_THROW(m_list.Init(name), std::runtime_error);
    EXPECT_THAT(RecordsOf(m_list), ElementsAre("new"))
        << "the file is loaded before the line is logged";
    EXPECT_EQ(m_list.GetDescription(), name);
}

} // namespace
