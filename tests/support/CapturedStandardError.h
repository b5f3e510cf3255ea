// SPDX-License-Identifier: MIT
#pragma once

#include <cstdio>
#include <stdexcept>
#include <string>
#include <unistd.h>

/// Captures what the process writes to file descriptor 2 while this object exists.
class CapturedStandardError {
public:
    CapturedStandardError() : m_file(std::tmpfile()), m_before(::dup(STDERR_FILENO)) {
        if (!m_file || m_before < 0 || ::dup2(::fileno(m_file), STDERR_FILENO) < 0)
            throw std::runtime_error("cannot capture standard error");
    }
    CapturedStandardError(const CapturedStandardError&) = delete;
    CapturedStandardError& operator=(const CapturedStandardError&) = delete;
    ~CapturedStandardError() {
        ::dup2(m_before, STDERR_FILENO);
        ::close(m_before);
        std::fclose(m_file);
    }

    /// The text captured so far.
    std::string GetText() const {
        std::string text;
        char block[4096];
        ssize_t got;
        while ((got = ::pread(::fileno(m_file), block, sizeof(block),
                              static_cast<off_t>(text.size()))) > 0)
            text.append(block, static_cast<std::size_t>(got));
        return text;
    }

private:
    std::FILE* m_file;
    int m_before;
};
