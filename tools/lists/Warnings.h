// SPDX-License-Identifier: MIT
#pragma once

#include "host/LogClass.h"

#include <cstddef>
#include <string>

namespace kwlookup {

/// Reports, at warning level, what is probably not read as its author intended.
///
/// Threads: one.
class Warnings {
public:
    enum class Mode {
        Print,
        Error, ///< printed, and counted by GetErrorCount()
        Off
    };

    /// Keeps the address of `log`.
    Warnings(Mode mode, const LogClass& log) : m_mode(mode), m_log(log) {}

    /// False if warnings are suppressed, so that checks can be skipped.
    bool IsWanted() const { return m_mode != Mode::Off; }

    void Report(const std::string& text);

    /// Count a warning that is not reported.
    void Count() { m_errors += m_mode == Mode::Error; }

    /// How many warnings count as errors.
    std::size_t GetErrorCount() const { return m_errors; }

private:
    const Mode m_mode;
    const LogClass& m_log;
    std::size_t m_errors = 0;
};

} // namespace kwlookup
