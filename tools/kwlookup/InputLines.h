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

    /// Copy the next lines to `lines`, to be split by Split(): at least one, which may block, and
    /// those that are buffered already, up to `most` bytes in all. False at the end. Throws
    /// std::bad_alloc only.
    bool NextLines(std::size_t most, std::string& lines);

    /// Move the first texts of `lines`, up to the size of `texts`, to `texts`. Returns their
    /// number. Any thread may call it.
    std::size_t Split(std::string_view& lines, std::vector<std::string>& texts) const;

    /// Note that `count` texts were in what NextLines() copied.
    void CountLines(std::size_t count) { m_lines.CountLines(count); }

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
