// SPDX-License-Identifier: MIT
#include "text/TextFile.h"

#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using namespace kwlookup;

std::string WhyNot(const std::string& name) {
    try {
        OpenTextFile(name);
        return "nothing";
    } catch (const std::invalid_argument& error) {
        return error.what();
    }
}

TEST(TextFile, OpensFilesThatCanBeLoaded) {
    const TempDir dir;
    EXPECT_TRUE(OpenTextFile(dir.Write("list", "a\n")));
    EXPECT_TRUE(OpenTextFile("/dev/null"));
    const std::string none = dir.Path("none");
    EXPECT_EQ(WhyNot(none), "Can not load file '" + none + "': No such file or directory");
    EXPECT_EQ(WhyNot(dir.Path("")), "Can not load file '" + dir.Path("") + "': Is a directory");
    EXPECT_EQ(WhyNot(dir.Path("list") + std::string("\0x", 2)),
              "Can not load file '" + dir.Path("list"))
        << "the file before the NUL is another one";
}

TEST(TextFile, NeverWaitsForTheWriterOfAPipe) {
    const TempDir dir;
    const std::string fifo = dir.Path("fifo");
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    int ends[2];
    ASSERT_EQ(::pipe2(ends, O_CLOEXEC), 0);
    const FileDescriptor reader(ends[0]), writer(ends[1]);
    const std::string own = "/dev/fd/" + std::to_string(reader.Get());
    const std::string link = dir.Path("link"), loop = dir.Path("loop");
    ASSERT_EQ(::symlink(own.c_str(), link.c_str()), 0);
    ASSERT_EQ(::symlink("loop", loop.c_str()), 0);
    const std::string not_regular = "': not a regular file";
    for (const std::string& name : {fifo, std::string("/dev/zero"), std::string("/dev/full")})
        EXPECT_EQ(WhyNot(name), "Can not load file '" + name + not_regular);
    EXPECT_EQ(WhyNot(loop), "Can not load file '" + loop + "': Too many levels of symbolic links");
    for (const std::string& name : {own, link, "/proc/self/fd/" + std::to_string(reader.Get())}) {
        const FileDescriptor file = OpenTextFile(name);
        EXPECT_EQ(::fcntl(file.Get(), F_GETFL) & O_NONBLOCK, 0) << name;
        EXPECT_EQ(BytesToRead(file.Get()), UINT64_MAX);
    }
    EXPECT_EQ(::fcntl(reader.Get(), F_GETFL) & O_NONBLOCK, 0);
}

TEST(TextFile, KnowsHowMuchToRead) {
    const TempDir dir;
    const struct {
        std::string name;
        std::uint64_t bytes;
    } cases[] = {
        {dir.Write("empty", ""), 0},
        {dir.Write("list", "abc"), 3},
        {"/proc/self/status", UINT64_MAX},
        {"/proc/self/mem", UINT64_MAX},
    };
    for (const auto& c : cases)
        EXPECT_EQ(BytesToRead(OpenTextFile(c.name).Get()), c.bytes) << c.name;
}

TEST(TextFile, SkipsOneByteOrderMark) {
    EXPECT_EQ(WithoutByteOrderMark("\xef\xbb\xbf\xef\xbb\xbf"), "\xef\xbb\xbf");
    for (const char* text : {"", "\xef\xbb", "a\xef\xbb\xbf"})
        EXPECT_EQ(WithoutByteOrderMark(text), text);
}

} // namespace
