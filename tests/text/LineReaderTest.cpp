// SPDX-License-Identifier: MIT
#include "text/LineReader.h"

#include "support/TempDir.h"
#include "text/FileDescriptor.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <fcntl.h>
#include <sstream>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

using namespace std::string_literals;

namespace {

using namespace kwlookup;

constexpr std::size_t BLOCK = 128 * 1024;

struct Pipe {
    Pipe() {
        int ends[2];
        if (::pipe2(ends, O_CLOEXEC) == 0) {
            reader = FileDescriptor(ends[0]);
            writer = FileDescriptor(ends[1]);
        }
    }
    void Write(const std::string& bytes) const {
        EXPECT_EQ(::write(writer.Get(), bytes.data(), bytes.size()),
                  static_cast<ssize_t>(bytes.size()));
    }
    FileDescriptor reader, writer;
};

std::vector<std::string> ExpectedLines(const std::string& bytes) {
    std::istringstream in(bytes);
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);)
        lines.push_back(line);
    return lines;
}

std::vector<std::string> Texts() {
    return {
        "",
        "\n",
        "\n\n",
        "a",
        "a\n",
        "a\nb",
        "a\n\nb\n",
        "a\r\nb\r",
        "\0\n\0\0"s,
        "\xff\n\xfe",
        std::string(BLOCK - 1, 'x') + "\nend",
        std::string(BLOCK, 'x') + "\nend",
        std::string(BLOCK + 1, 'x') + "\nend\n",
        std::string(BLOCK - 1, 'x') + "\n",
        std::string(BLOCK, '\n'),
        std::string(5 * BLOCK + 7, 'x'),
        "short\n" + std::string(3 * BLOCK, 'y') + "\nshort\n" + std::string(2 * BLOCK, 'z'),
    };
}

TEST(LineReader, ReadsTheLinesOfAFile) {
    const TempDir dir;
    for (const std::string& text : Texts()) {
        SCOPED_TRACE(std::to_string(text.size()) + " bytes: " + text.substr(0, 20));
        const FileDescriptor file = FileDescriptor::OpenForReading(dir.Write("f", text));
        LineReader reader(file.Get());
        std::vector<std::string> lines;
        for (std::string_view line; reader.Next(line);) {
            lines.emplace_back(line);
            EXPECT_EQ(reader.GetLineNumber(), lines.size());
        }
        EXPECT_TRUE(lines == ExpectedLines(text)) << lines.size();
        EXPECT_EQ(reader.GetError(), 0);
        std::string_view more;
        EXPECT_FALSE(reader.Next(more));
        EXPECT_FALSE(reader.HasBuffered());
        EXPECT_EQ(reader.GetLineNumber(), lines.size());
    }
}

TEST(LineReader, GivesSeveralLinesAtOnce) {
    const TempDir dir;
    for (const std::string& text : Texts()) {
        SCOPED_TRACE(std::to_string(text.size()) + " bytes: " + text.substr(0, 20));
        const FileDescriptor file = FileDescriptor::OpenForReading(dir.Write("f", text));
        for (const std::size_t most : {std::size_t{0}, std::size_t{3}, BLOCK / 2, 9 * BLOCK}) {
            ::lseek(file.Get(), 0, SEEK_SET);
            LineReader reader(file.Get());
            std::string all;
            std::size_t count = 0;
            for (std::string_view lines; reader.NextLines(most, lines);) {
                ASSERT_FALSE(lines.empty());
                EXPECT_TRUE(lines.size() <= most || ExpectedLines(std::string(lines)).size() == 1);
                all += lines;
                EXPECT_TRUE(lines.back() == '\n' || all.size() == text.size());
                EXPECT_EQ(reader.GetLineNumber(), count);
                reader.CountLines(1);
                ++count;
            }
            EXPECT_TRUE(all == text);
            EXPECT_EQ(reader.GetError(), 0);
        }
    }
}

TEST(LineReader, GivesTheLinesThatAreThereWithoutWaiting) {
    Pipe pipe;
    LineReader reader(pipe.reader.Get());
    std::string_view lines;
    pipe.Write("a\nb\nc");
    ASSERT_TRUE(reader.NextLines(BLOCK, lines));
    EXPECT_EQ(lines, "a\nb\n");
    pipe.Write("d\ne\nf\n");
    ASSERT_TRUE(reader.NextLines(5, lines));
    EXPECT_EQ(lines, "cd\ne\n");
    pipe.Write("g");
    pipe.writer = FileDescriptor();
    ASSERT_TRUE(reader.NextLines(BLOCK, lines));
    EXPECT_EQ(lines, "f\n");
    ASSERT_TRUE(reader.NextLines(BLOCK, lines));
    EXPECT_EQ(lines, "g");
    EXPECT_FALSE(reader.NextLines(BLOCK, lines));
}

TEST(LineReader, GivesNoLineThatIsTooLong) {
    const TempDir dir;
    const FileDescriptor file =
        FileDescriptor::OpenForReading(dir.Write("f", "a\n" + std::string(11, 'b') + "\nc\n"));
    LineReader reader(file.Get());
    reader.SetLongestLine(10);
    std::string_view lines;
    ASSERT_TRUE(reader.NextLines(BLOCK, lines));
    EXPECT_EQ(lines, "a\n");
    reader.CountLines(1);
    EXPECT_FALSE(reader.NextLines(BLOCK, lines));
    EXPECT_EQ(reader.GetErrorText(), "line 2 is longer than 10 bytes");
}

TEST(LineReader, EndsAtItsLimit) {
    const TempDir dir;
    const std::string text = std::string(BLOCK, 'x') + "\nend\n";
    const FileDescriptor file = FileDescriptor::OpenForReading(dir.Write("f", text));
    for (const std::size_t limit :
         {std::size_t{0}, std::size_t{1}, BLOCK, BLOCK + 3, text.size()}) {
        ::lseek(file.Get(), 0, SEEK_SET);
        LineReader reader(file.Get(), limit);
        std::vector<std::string> lines;
        for (std::string_view line; reader.Next(line);)
            lines.emplace_back(line);
        EXPECT_TRUE(lines == ExpectedLines(text.substr(0, limit))) << limit;
        EXPECT_EQ(reader.GetError(), 0);
    }
}

TEST(LineReader, KnowsWhetherALineIsBuffered) {
    Pipe pipe;
    LineReader reader(pipe.reader.Get());
    std::string_view line;
    EXPECT_FALSE(reader.HasBuffered());
    pipe.Write("a\nb\nc");
    EXPECT_FALSE(reader.HasBuffered());
    ASSERT_TRUE(reader.Next(line));
    EXPECT_EQ(line, "a");
    EXPECT_TRUE(reader.HasBuffered());
    ASSERT_TRUE(reader.Next(line));
    EXPECT_EQ(line, "b");
    EXPECT_FALSE(reader.HasBuffered()) << "half a line";
    pipe.Write("d\ne");
    pipe.writer = FileDescriptor();
    ASSERT_TRUE(reader.Next(line));
    EXPECT_EQ(line, "cd");
    ASSERT_TRUE(reader.Next(line));
    EXPECT_EQ(line, "e");
    EXPECT_FALSE(reader.HasBuffered());
    EXPECT_FALSE(reader.Next(line));
    EXPECT_EQ(reader.GetLineNumber(), 4u);
}

TEST(LineReader, NextBufferedNeverBlocks) {
    Pipe pipe;
    LineReader reader(pipe.reader.Get());
    std::string_view line;
    EXPECT_FALSE(reader.NextBuffered(line));
    pipe.Write("a\nb\nc");
    EXPECT_FALSE(reader.NextBuffered(line));
    ASSERT_TRUE(reader.Next(line));
    ASSERT_TRUE(reader.NextBuffered(line));
    EXPECT_EQ(line, "b");
    EXPECT_FALSE(reader.NextBuffered(line)) << "half a line";
    pipe.writer = FileDescriptor();
    ASSERT_TRUE(reader.Next(line));
    EXPECT_EQ(line, "c");
    EXPECT_FALSE(reader.NextBuffered(line));
    EXPECT_EQ(reader.GetLineNumber(), 3u);
}

TEST(LineReader, EndsAtALineThatIsTooLong) {
    const TempDir dir;
    for (const std::size_t longest : {3 * BLOCK, BLOCK, std::size_t{10}}) {
        for (const char* rest : {"x", "x\nb\n"}) {
            const std::string fits(longest, 'a');
            const FileDescriptor file = FileDescriptor::OpenForReading(
                dir.Write("lines", "1\n" + fits + "\n" + fits + rest));
            LineReader reader(file.Get());
            reader.SetLongestLine(longest);
            std::string_view line;
            ASSERT_TRUE(reader.Next(line));
            ASSERT_TRUE(reader.Next(line));
            EXPECT_EQ(line, fits);
            EXPECT_FALSE(reader.Next(line));
            EXPECT_FALSE(reader.NextBuffered(line));
            EXPECT_EQ(reader.GetError(), EMSGSIZE);
            EXPECT_EQ(reader.GetErrorText(),
                      "line 3 is longer than " + std::to_string(longest) + " bytes");
        }
    }
}

TEST(LineReader, JoinsALineThatArrivesInPieces) {
    Pipe pipe;
    std::thread writer([&] {
        for (int i = 0; i < 5000; ++i)
            pipe.Write("0123456789");
        pipe.Write("\nx");
        pipe.writer = FileDescriptor();
    });
    LineReader reader(pipe.reader.Get());
    std::string_view line;
    EXPECT_TRUE(reader.Next(line));
    EXPECT_EQ(line.size(), 50000u);
    EXPECT_TRUE(reader.Next(line));
    EXPECT_EQ(line, "x");
    EXPECT_FALSE(reader.Next(line));
    writer.join();
}

TEST(LineReader, KeepsTheReasonOfAFailedRead) {
    const TempDir dir;
    const FileDescriptor directory = FileDescriptor::OpenForReading(dir.Path(""));
    const struct { int fd, error; } cases[] = {{directory.Get(), EISDIR}, {-1, EBADF}};
    for (const auto& c : cases) {
        LineReader reader(c.fd);
        std::string_view line;
        EXPECT_FALSE(reader.Next(line));
        EXPECT_EQ(reader.GetError(), c.error);
        errno = 0;
        EXPECT_FALSE(reader.Next(line)) << "and stays there";
        EXPECT_EQ(reader.GetError(), c.error);
    }
}

} // namespace
