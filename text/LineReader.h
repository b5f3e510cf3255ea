// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace kwlookup {

/// Reads the lines of a file descriptor, of any length and any bytes, without hiding a fault.
///
/// Memory: one block of 128 KiB, or up to twice the longest line when that is longer.
/// Threads: one.
class LineReader {
public:
    /// Does not own `fd`. Reads at most `limit` bytes: see BytesToRead(). Lines end with the byte
    /// `line_end`. Throws std::bad_alloc only.
    explicit LineReader(int fd, std::uint64_t limit = UINT64_MAX, char line_end = '\n');

    /// From here on a line of more than `size` bytes is an error, EMSGSIZE, and is not given. For
    /// input from strangers, which need not have an end.
    void SetLongestLine(std::size_t size) { m_longest_line = size; }

    /// Gives the next line without its end; the last line needs none. False at the end, and at
    /// a read error: GetError() tells which. What a last, cut line holds at an error is still
    /// given. `line` is valid until the next call. Throws std::bad_alloc only.
    bool Next(std::string_view& line);

    /// As Next(), but gives only a whole line that can be given without reading, that is, without
    /// waiting.
    bool NextBuffered(std::string_view& line);

    /// True when NextBuffered() has a line to give.
    bool HasBuffered() const;

    /// The number of lines given so far.
    std::size_t GetLineNumber() const { return m_line_number; }

    /// The error number of the read that failed, or 0.
    int GetError() const { return m_error; }

    /// What GetError() means, for people.
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
    std::size_t m_begin = 0; ///< start of what has not been given yet
    std::size_t m_end = 0;
    std::size_t m_line_number = 0;
    bool m_at_end = false;
    int m_error = 0;
};

/// How long a line of the tool's input may be. Longer than any text that is documented to work, and
/// short enough for any machine.
constexpr std::size_t LONGEST_INPUT_LINE = 16 * 1024 * 1024;

/// read(2) that goes on after an interruption.
std::ptrdiff_t ReadBlock(int fd, char* buffer, std::size_t size);

} // namespace kwlookup
