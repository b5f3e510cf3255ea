// SPDX-License-Identifier: MIT
#include "text/FileDescriptor.h"

#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace {

using namespace kwlookup;

bool IsOpen(int fd) {
    return ::fcntl(fd, F_GETFD) >= 0;
}

TEST(FileDescriptor, ClosesItsFileOnce) {
    const TempDir dir;
    int fd;
    {
        FileDescriptor file = FileDescriptor::OpenForReading(dir.Write("f", "x"));
        ASSERT_TRUE(file);
        fd = file.Get();
        EXPECT_EQ(::fcntl(fd, F_GETFD), FD_CLOEXEC);
        EXPECT_EQ(::fcntl(fd, F_GETFL) & O_ACCMODE, O_RDONLY);

        FileDescriptor moved(std::move(file));
        EXPECT_FALSE(file); // NOLINT(bugprone-use-after-move)
        EXPECT_EQ(moved.Get(), fd);
        EXPECT_TRUE(IsOpen(fd));
    }
    EXPECT_FALSE(IsOpen(fd));
}

TEST(FileDescriptor, AssignmentKeepsBothOwned) {
    const TempDir dir;
    const std::string name = dir.Write("f", "x");
    int first, second;
    {
        FileDescriptor target = FileDescriptor::OpenForReading(name);
        FileDescriptor source = FileDescriptor::OpenForReading(name);
        first = target.Get();
        second = source.Get();
        target = std::move(source);
        EXPECT_EQ(target.Get(), second);
        EXPECT_TRUE(IsOpen(second));
    }
    EXPECT_FALSE(IsOpen(first));
    EXPECT_FALSE(IsOpen(second));
}

TEST(FileDescriptor, AFailedOpenSetsErrno) {
    const TempDir dir;
    const std::string file = dir.Write("f", "x");
    ASSERT_EQ(::symlink("loop", dir.Path("loop").c_str()), 0);
    const struct {
        std::string name;
        int error;
    } cases[] = {
        {dir.Path("missing"), ENOENT},
        {"", ENOENT},
        {file + "/x", ENOTDIR},
        {dir.Path("loop"), ELOOP},
        {dir.Path(std::string(300, 'n')), ENAMETOOLONG},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        errno = 0;
        const FileDescriptor none = FileDescriptor::OpenForReading(c.name);
        EXPECT_EQ(errno, c.error);
        EXPECT_FALSE(none);
        EXPECT_LT(none.Get(), 0);
    }
}

} // namespace
