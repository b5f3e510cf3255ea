// SPDX-License-Identifier: MIT
#pragma once

#include "host/LogClass.h"
#include "text/LineReader.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace kwlookup {

/// The texts on standard input: one a line, without a carriage return at its end, or each ended by
/// a NUL. A text of more than 16 MiB is an error, as the input may come from strangers.
class InputLines {
public:
    explicit InputLines(bool null);

    bool Next(std::string& text);

    /// Read the next text, which may block, and up to the size of `texts` those that are buffered
    /// already. Returns their number, 0 at the end. Throws std::bad_alloc only.
    std::size_t Next(std::vector<std::string>& texts);

    /// True if Next() does not block.
    bool HasBuffered() const { return m_lines.HasBuffered(); }

    /// Report the error that ended the input. True if there was none.
    bool ReportError(const LogClass& log) const;

private:
    void Assign(std::string& text, std::string_view line) const;

    const bool m_null;
    LineReader m_lines;
};

} // namespace kwlookup
