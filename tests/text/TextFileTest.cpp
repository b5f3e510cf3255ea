// SPDX-License-Identifier: MIT
#include "text/TextFile.h"

#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <string>

namespace {

std::string WhyNot(const std::string& name) {
    try {
        OpenTextFile(name);
        return "nothing";
    } catch (const std::invalid_argument& error) {
        return error.what();
    }
}

TEST(TextFile, OpensWhatCanBeLoaded) {
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

TEST(TextFile, LeavesOutOneByteOrderMark) {
    EXPECT_EQ(WithoutByteOrderMark("\xef\xbb\xbf\xef\xbb\xbf"), "\xef\xbb\xbf");
    for (const char* text : {"", "\xef\xbb", "a\xef\xbb\xbf"})
        EXPECT_EQ(WithoutByteOrderMark(text), text);
}

} // namespace
