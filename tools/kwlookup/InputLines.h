// SPDX-License-Identifier: MIT
#pragma once

#include "host/LogClass.h"
#include "text/LineReader.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace kwlookup {

/// The texts on standard input, one a line, where a carriage return at the end is not part of the
/// text, or with a NUL after each. A text may have 16 MiB: whoever asks is a stranger.
class InputLines {
public:
    explicit InputLines(bool null);

    bool Next(std::string& text);

    /// Gives the next texts: one, for which it may wait, and those that are there already, up to
    /// the size of `texts`. Returns their number, 0 at the end. Throws std::bad_alloc only.
    std::size_t Next(std::vector<std::string>& texts);

    /// True when Next() need not wait.
    bool HasBuffered() const { return m_lines.HasBuffered(); }

    /// Tells the error that ended the input. True when there was none.
    bool TellError(const LogClass& log) const;

private:
    void Assign(std::string& text, std::string_view line) const;

    const bool m_null;
    LineReader m_lines;
};

} // namespace kwlookup
