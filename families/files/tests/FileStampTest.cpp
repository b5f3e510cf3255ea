// SPDX-License-Identifier: MIT
#include "families/files/FileStamp.h"

#include "support/TempDir.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <ctime>
#include <filesystem>
#include <sys/stat.h>

using namespace kwlookup;

namespace {

class FileStampTest : public testing::Test {
protected:
    /// Write to the file in place, and set the time of the change.
    void Write(const std::string& text, std::timespec time) {
        m_dir.Write("file", text);
        const std::timespec times[] = {time, time};
        ASSERT_EQ(::utimensat(AT_FDCWD, m_name.c_str(), times, 0), 0);
    }

    const TempDir m_dir;
    const std::string m_name = m_dir.Path("file");
};

TEST_F(FileStampTest, NoticesAWrite) {
    Write("one", {1000, 5});
    const FileStamp stamp(m_name);
    Write("two", {1000, 5});
    EXPECT_TRUE(FileStamp(m_name).IsUnchanged(stamp));
    struct Case {
        const char* text;
        std::timespec time;
    };
    for (const Case& test :
         {Case{"two", {1000, 6}}, Case{"two", {1001, 5}}, Case{"more", {1000, 5}}}) {
        Write(test.text, test.time);
        EXPECT_FALSE(FileStamp(m_name).IsUnchanged(stamp));
        EXPECT_TRUE(FileStamp(m_name).IsSameFile(stamp));
    }
}

TEST_F(FileStampTest, NoticesAReplacedFile) {
    Write("one", {1000, 5});
    const FileStamp stamp(m_name);
    std::filesystem::rename(m_name, m_dir.Path("old"));
    Write("one", {1000, 5});
    EXPECT_FALSE(FileStamp(m_name).IsSameFile(stamp));
    EXPECT_FALSE(FileStamp(m_name).IsUnchanged(stamp));
}

} // namespace
