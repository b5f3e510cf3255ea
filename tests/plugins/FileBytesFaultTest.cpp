// SPDX-License-Identifier: MIT
// The plug-ins cdb and berkeley where calls of the system fail.
#include "families/files/FileBytes.h"
#include "lookup/builtin/FailingSystem.h"
#include "plugins/DatabaseSupport.h"

#include <cerrno>

using namespace kwlookup;

namespace {

using namespace std::string_literals;
using failing::Fault;

/// The parameter is the format of the file.
class FileBytesFaultTest : public DatabaseTest, public testing::WithParamInterface<const char*> {
protected:
    FileBytesFaultTest() { MakeKeyValueFile(GetParam(), m_name, {{"a", "1"}}); }

    void MakeLong() { std::filesystem::resize_file(m_name, FileBytes::COPY_LIMIT + 1); }

    const std::string m_name = m_dir.Path("table");
    const std::string m_list = (GetParam() == "cdb"s ? "cdb" : "berkeley") +
                               ":OnError=exception|Database="s + m_name + "|$s";
    KwLookupHolder m_holder{m_log};
};

TEST_P(FileBytesFaultTest, ToldAreReasonsOfTheSystem) {
    m_holder.Init(m_list);
    for (const bool is_long : {false, true}) {
        if (is_long)
            MakeLong();
        for (const int error : {EACCES, EMFILE}) {
            const Fault fault(failing::open, error);
            EXPECT_EQ(SearchError(m_holder, "a"), m_name + ": " + std::strerror(error));
            EXPECT_TRUE(fault.Happened());
        }
        for (int calls = 0; calls < 2; ++calls) {
            const Fault fault(failing::fstat, EIO, calls);
            EXPECT_EQ(SearchError(m_holder, "a"), m_name + ": " + std::strerror(EIO));
            EXPECT_TRUE(fault.Happened());
        }
        failing::bad_sector = 100;
        EXPECT_EQ(SearchError(m_holder, "a"), m_name + ": " + std::strerror(EIO));
        failing::bad_sector = -1;
    }
    EXPECT_EQ(Ask(m_holder, "a").res, " 1");
}

TEST_P(FileBytesFaultTest, AReadThatFailsLaterIsNoMiss) {
    MakeLong();
    m_holder.Init(m_list);
    EXPECT_EQ(Ask(m_holder, "a").res, " 1");
    failing::bad_sector = 100;
    EXPECT_EQ(SearchError(m_holder, "a"), m_name + ": " + std::strerror(EIO));
    failing::bad_sector = -1;
    EXPECT_EQ(Ask(m_holder, "a").res, " 1");
    {
        const Fault fault(failing::fstat, EIO);
        EXPECT_EQ(SearchError(m_holder, "a"), m_name + ": " + std::strerror(EIO));
    }
    EXPECT_EQ(Ask(m_holder, "a").res, " 1");
}

INSTANTIATE_TEST_SUITE_P(Formats, FileBytesFaultTest, testing::Values("cdb", "hash", "btree"),
                         [](const auto& test) { return std::string(test.param); });

} // namespace
