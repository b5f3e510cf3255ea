// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace kwlookup {

/// One answer: which item of the list matched a text, and with what.
struct Answer {
    std::string result; ///< empty for a plain match
    std::string value;  ///< the stored value that matched, where there is one
    std::string item;
    std::string file; ///< what names the item's object

    /// What is shown as the answer for `text`.
    const std::string& Shown(const std::string& text) const {
        return !result.empty() ? result : !value.empty() ? value : text;
    }
};

/// Gathers answers, a line each, and writes them to standard output in blocks.
class AnswerWriter {
public:
    enum Format {
        Plain, ///< fields with tabs between them
        Json,  ///< an object a line
        Value  ///< what is shown as the answer, and nothing else
    };

    struct Options {
        Format format = Plain;
        bool explain = false; ///< adds item, value and file
        bool raw = false;     ///< fields are written byte for byte, see AppendField()
        bool null = false;    ///< a NUL ends a line
    };

    explicit AnswerWriter(const Options& options) : m_options(options) {}

    void Write(const std::string& text, const Answer& answer);

    /// True when it is time for Flush().
    bool IsFull() const;

    /// Writes what is gathered, so that somebody who waits for an answer sees it.
    void Flush();

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
