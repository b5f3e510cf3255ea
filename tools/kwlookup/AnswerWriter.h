// SPDX-License-Identifier: MIT
#pragma once

#include "tools/lists/Answer.h"

#include <string>

namespace kwlookup {

/// Gathers answers, one a line, and writes them to standard output in blocks.
class AnswerWriter {
public:
    enum Format {
        Plain, ///< fields separated by tabs
        Json,  ///< one object a line
        Value  ///< the result only
    };

    struct Options {
        Format format = Plain;
        bool explain = false; ///< add item, value and file
        bool raw = false;     ///< fields are written byte for byte, see AppendField()
        bool null = false;    ///< a NUL ends a line
    };

    explicit AnswerWriter(const Options& options) : m_options(options) {}

    void Write(const std::string& text, const Answer& answer);

    /// True when it is time for Flush().
    bool IsFull() const;

    /// Write the answers gathered so far.
    void Flush();

    /// Return the answers gathered so far instead of writing them.
    std::string Take();

    /// Write answers that another AnswerWriter gathered.
    void WriteOut(const std::string& answers);

    /// False after a write failed; errno of that write is then in GetError().
    bool IsGood() const { return m_error == 0; }
    int GetError() const { return m_error; }

private:
    void AddField(const std::string& text);

    const Options m_options;
    std::string m_buffer;
    int m_error = 0;
};

} // namespace kwlookup
