// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace kwlookup {

/// Reads the lines of a file descriptor. Lines may have any length and hold any bytes.
///
///     LineReader reader(file.Get());
///     for (std::string_view line; reader.Next(line);)
///         Use(line);
///     if (reader.GetError() != 0)
///         throw std::runtime_error(reader.GetErrorText());
///
/// Memory: one block of 128 KiB, or up to twice the longest line when that is longer.
/// Threads: one.
class LineReader {
public:
    /// Reads from `fd`, which stays the caller's, at most `limit` bytes (see BytesToRead()). Lines
    /// end with the byte `line_end`. Throws std::bad_alloc only.
    explicit LineReader(int fd, std::uint64_t limit = UINT64_MAX, char line_end = '\n');

    /// Makes Next() stop with the error EMSGSIZE at a line of more than `size` bytes. Use it for
    /// untrusted input, whose lines may never end.
    void SetLongestLine(std::size_t size) { m_longest_line = size; }

    /// Sets `line` to the next line, without its line end. The last line need not have one. Returns
    /// false at the end of the input and after a read error; GetError() tells them apart. A line
    /// that a read error cut short is still returned first. `line` is valid until the next call.
    /// Throws std::bad_alloc only.
    bool Next(std::string_view& line);

    /// Does the same as Next(), but only with a complete line that is already in memory. So it
    /// never waits.
    bool NextBuffered(std::string_view& line);

    /// Sets `lines` to several whole lines, with their line ends: to the next line, for which it
    /// may wait, and to those after it that are in memory, up to `most` bytes in all. Returns what
    /// Next() returns. The caller splits the lines, perhaps in another thread, and calls
    /// CountLines().
    bool NextLines(std::size_t most, std::string_view& lines);

    /// Adds `count` lines of NextLines() to the lines read so far.
    void CountLines(std::size_t count) { m_line_number += count; }

    /// Returns true when NextBuffered() would return true.
    bool HasBuffered() const;

    /// Returns the number of lines read so far.
    std::size_t GetLineNumber() const { return m_line_number; }

    /// Returns the error number of the read that failed, or 0.
    int GetError() const { return m_error; }

    /// Returns a message for GetError().
    std::string GetErrorText() const;

private:
    bool FindLine(std::size_t searched, std::string_view& line);
    void Give(std::size_t size, std::size_t skipped, std::string_view& line);
    bool Fill();
    bool EndTooLong();

    int m_fd;
    std::uint64_t m_left; ///< how much may still be read
    char m_line_end;
    std::size_t m_longest_line = SIZE_MAX;
    std::vector<char> m_buffer;
    std::size_t m_begin = 0; ///< start of the next line
    std::size_t m_end = 0;
    std::size_t m_line_number = 0;
    bool m_at_end = false;
    int m_error = 0;
};

/// The longest line of the tool's input. It is longer than any text that is documented to work, and
/// fits the memory of any machine.
constexpr std::size_t LONGEST_INPUT_LINE = 16 * 1024 * 1024;

/// Calls read(2) again when a signal interrupts it.
std::ptrdiff_t ReadBlock(int fd, char* buffer, std::size_t size);

} // namespace kwlookup
