// SPDX-License-Identifier: MIT
#pragma once

#include "host/LogClass.h"

#include <cstddef>
#include <string>

namespace kwlookup {

/// Tells, at warning level, what is probably read in another way than its author meant.
///
/// Threads: one.
class Warnings {
public:
    enum class Mode {
        Tell,
        Error, ///< told, and counted by GetErrorCount()
        Off
    };

    /// Keeps the address of `log`.
    Warnings(Mode mode, const LogClass& log) : m_mode(mode), m_log(log) {}

    /// False when nothing would come of looking.
    bool IsWanted() const { return m_mode != Mode::Off; }

    void Tell(const std::string& text);

    /// Counts a warning that is not told.
    void Count() { m_errors += m_mode == Mode::Error; }

    /// How many warnings count as errors.
    std::size_t GetErrorCount() const { return m_errors; }

private:
    const Mode m_mode;
    const LogClass& m_log;
    std::size_t m_errors = 0;
};

} // namespace kwlookup
