// SPDX-License-Identifier: MIT
#pragma once

#include "host/LogClass.h"
#include "text/LineReader.h"

#include <string>

/// The texts on standard input, one a line; a carriage return at a line's end is not part of it.
class InputLines {
public:
    InputLines();

    bool Next(std::string& text);

    /// True when Next() need not wait.
    bool Buffered() const { return m_lines.Buffered(); }

    /// Tells the error that ended the input. True when there was none.
    bool TellError(const LogClass& log) const;

private:
    LineReader m_lines;
};
