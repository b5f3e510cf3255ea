// SPDX-License-Identifier: MIT
#include "text/LineReader.h"

#include "text/Platform.h"
#include "text/SystemError.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <unistd.h>

namespace kwlookup {

namespace {

/// Large enough that the cost of read(2) is the copying, not the call.
constexpr std::size_t BLOCK_BYTES = 128 * 1024;

} // namespace

std::ptrdiff_t ReadBlock(int fd, char* buffer, std::size_t size) {
    ssize_t got;
    do
        got = ::read(fd, buffer, size);
    while (got < 0 && errno == EINTR);
    return got;
}

LineReader::LineReader(int fd, std::uint64_t limit, char line_end)
    : m_fd(fd), m_left(limit), m_line_end(line_end), m_buffer(BLOCK_BYTES) {}

bool LineReader::Next(std::string_view& line) {
    std::size_t searched = 0;
    while (!FindLine(searched, line)) {
        searched = m_end - m_begin;
        if (!m_at_end && Fill())
            continue;
        if (m_begin == m_end)
            return false;
        Give(m_end - m_begin, 0, line);
        break;
    }
    return true;
}

bool LineReader::NextBuffered(std::string_view& line) {
    if (FindLine(0, line))
        return true;
    if (!m_at_end || m_begin == m_end)
        return false;
    Give(m_end - m_begin, 0, line);
    return true;
}

bool LineReader::NextLines(std::size_t most, std::string_view& lines) {
    if (!Next(lines))
        return false;
    --m_line_number;
    const char* const begin = lines.data();
    const auto taken = static_cast<std::size_t>(m_buffer.data() + m_begin - begin);
    const std::size_t limit = std::min({most, m_longest_line, taken + m_end - m_begin});
    if (taken < limit) {
        const std::string_view next(begin + taken, limit - taken);
        m_begin += FindLastByte(next, m_line_end) + 1; // npos + 1 is 0
    }
    lines = std::string_view(begin, static_cast<std::size_t>(m_buffer.data() + m_begin - begin));
    return true;
}

/// Sets `line` to the first line in the buffer. Its first `searched` bytes hold no line end.
bool LineReader::FindLine(std::size_t searched, std::string_view& line) {
    const char* const begin = m_buffer.data() + m_begin;
    const std::size_t size = m_end - m_begin;
    const void* const found =
        size > searched ? std::memchr(begin + searched, m_line_end, size - searched) : nullptr;
    if (!found)
        return false;
    const auto length = static_cast<std::size_t>(static_cast<const char*>(found) - begin);
    if (length > m_longest_line)
        return EndTooLong();
    Give(length, 1, line);
    return true;
}

void LineReader::Give(std::size_t size, std::size_t skipped, std::string_view& line) {
    line = std::string_view(m_buffer.data() + m_begin, size);
    m_begin += size + skipped;
    ++m_line_number;
}

bool LineReader::EndTooLong() {
    m_error = EMSGSIZE;
    m_at_end = true;
    m_begin = m_end;
    return false;
}

bool LineReader::HasBuffered() const {
    return m_begin != m_end && (m_at_end || std::memchr(m_buffer.data() + m_begin, m_line_end,
                                                        m_end - m_begin) != nullptr);
}

std::string LineReader::GetErrorText() const {
    if (m_error != EMSGSIZE)
        return SystemErrorText(m_error);
    return "line " + std::to_string(m_line_number + 1) + " is longer than " +
           std::to_string(m_longest_line) + " bytes";
}

bool LineReader::Fill() {
    if (m_begin > 0) {
        std::memmove(m_buffer.data(), m_buffer.data() + m_begin, m_end - m_begin);
        m_end -= m_begin;
        m_begin = 0;
    }
    if (m_end > m_longest_line)
        return EndTooLong();
    if (m_end == m_buffer.size())
        m_buffer.resize(2 * m_buffer.size());
    const std::size_t size = std::min<std::uint64_t>(m_buffer.size() - m_end, m_left);
    const std::ptrdiff_t got = size == 0 ? 0 : ReadBlock(m_fd, m_buffer.data() + m_end, size);
    if (got > 0) {
        m_left -= static_cast<std::uint64_t>(got);
        m_end += static_cast<std::size_t>(got);
        return true;
    }
    if (got < 0)
        m_error = errno;
    m_at_end = true;
    return false;
}

} // namespace kwlookup
