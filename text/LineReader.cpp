// SPDX-License-Identifier: MIT
#include "text/LineReader.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <unistd.h>

namespace {

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
    for (;;) {
        const char* begin = m_buffer.data() + m_begin;
        const std::size_t size = m_end - m_begin;
        if (size > searched) {
            if (const void* found = std::memchr(begin + searched, m_line_end, size - searched)) {
                const std::size_t length = static_cast<const char*>(found) - begin;
                line = std::string_view(begin, length);
                m_begin += length + 1;
                ++m_line_number;
                return true;
            }
        }
        searched = size;
        if (m_at_end || !Fill()) {
            if (m_begin == m_end)
                return false;
            line = std::string_view(m_buffer.data() + m_begin, m_end - m_begin);
            m_begin = m_end;
            ++m_line_number;
            return true;
        }
    }
}

bool LineReader::Buffered() const {
    return m_begin != m_end && (m_at_end || std::memchr(m_buffer.data() + m_begin, m_line_end,
                                                        m_end - m_begin) != nullptr);
}

bool LineReader::Fill() {
    if (m_begin > 0) {
        std::memmove(m_buffer.data(), m_buffer.data() + m_begin, m_end - m_begin);
        m_end -= m_begin;
        m_begin = 0;
    }
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
