// SPDX-License-Identifier: MIT
#pragma once

#include "AnswerWriter.h"
#include "AskItem.h"
#include "ItemList.h"

#include <cstddef>
#include <string>
#include <vector>

/// Asks the items of a list about texts, and writes the answers.
class Asker {
public:
    struct Options {
        int flags = 0; ///< KwFindFlags
        bool all = false;
        AnswerWriter::Options answers;
        bool strict = false; ///< an error that a plug-in is to ignore is a fault
    };

    /// Keeps the address of `log`.
    Asker(const Options& options, const LogClass& log);

    void Ask(const ItemList& list, const std::string& text);

    /// FetchItems() for `list`, about to be asked for the first `count` of `texts`.
    void Fetch(const ItemList& list, const std::vector<std::string>& texts,
               std::size_t count) const {
        FetchItems(list, texts, count, m_options.flags);
    }

    /// Hands over the answers so far. False once they could not be written, which is told then.
    bool Flush();

    /// What the tool's exit status is to say: nothing is found where an item could not be asked.
    int Status() const;

    /// Notes that something could not be asked.
    void NoteFault() { m_fault = true; }
    /// True once something could not be asked.
    bool HasFault() const { return m_fault; }

private:
    const Options m_options;
    const LogClass& m_log;
    AnswerWriter m_writer;
    Answer m_answer; ///< here, so that its strings keep their memory from text to text
    bool m_found = false;
    bool m_fault = false;
};
