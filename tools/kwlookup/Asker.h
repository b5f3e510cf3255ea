// SPDX-License-Identifier: MIT
#pragma once

#include "AnswerWriter.h"
#include "AskItem.h"
#include "ItemList.h"

#include <cstddef>
#include <functional>
#include <string>

namespace kwlookup {

/// Asks the items of a list about texts, and writes the answers.
class Asker {
public:
    struct Options {
        int flags = 0; ///< KwFindFlags
        bool all = false;
        AnswerWriter::Options answers;
        bool strict = false; ///< an error that a plug-in is to ignore is a fault
    };

    /// What is found in all.
    struct Findings {
        bool found = false;
        bool fault = false; ///< something could not be asked
        bool output_failed = false;
    };

    /// Keeps the address of `log`. Where there is `await_turn`, it is called before a write, and
    /// nothing is written when it is false.
    Asker(const Options& options, const LogClass& log, std::function<bool()> await_turn = {});

    void Ask(const ItemList& list, const std::string& text) { Ask(list, &text, 1); }

    /// Asks `count` texts, which are there already, so that their memory is waited for together.
    void Ask(const ItemList& list, const std::string* texts, std::size_t count);

    /// True when several threads, each with an asker of its own, may ask `list`: the answers are
    /// all that is written, and no item has anything to wait for.
    bool MayShare(const ItemList& list) const;

    const Findings& GetFindings() const { return m_findings; }
    /// Takes what another asker has found as its own.
    void Add(const Findings& other);

    /// Hands over the answers so far. False once they could not be written, which is told then.
    bool Flush();

    /// What the tool's exit status is to say: nothing is found where an item could not be asked.
    int GetStatus() const;

    /// Notes that something could not be asked.
    void NoteFault() { m_findings.fault = true; }
    /// True once something could not be asked.
    bool HasFault() const { return m_findings.fault; }

private:
    /// `number` is the number of the text in m_fetched.
    void Ask(const ItemList& list, const std::string& text, std::size_t number);

    const Options m_options;
    const LogClass& m_log;
    const std::function<bool()> m_await_turn;
    AnswerWriter m_writer;
    FetchedFinders m_fetched;
    Answer m_answer; ///< here, so that its strings keep their memory from text to text
    Findings m_findings;
};

} // namespace kwlookup
