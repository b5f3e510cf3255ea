// SPDX-License-Identifier: MIT
#pragma once

#include "AnswerWriter.h"
#include "tools/lists/AskItem.h"
#include "tools/lists/ItemList.h"

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

    /// The outcome of all searches.
    struct Findings {
        bool found = false;
        bool fault = false; ///< something could not be asked
        bool output_failed = false;
    };

    /// Keeps the address of `log`. If `await_turn` is set, Flush() calls it first, and writes
    /// nothing if it returns false.
    Asker(const Options& options, const LogClass& log, std::function<bool()> await_turn = {});

    void Ask(const ItemList& list, const std::string& text) { Ask(list, &text, 1); }

    /// Ask about `count` texts, with the memory for several of them prefetched together.
    void Ask(const ItemList& list, const std::string* texts, std::size_t count);

    /// True if several threads, each with an Asker of its own, may ask `list`: nothing but answers
    /// is written, and no item is a plug-in.
    bool MayShare(const ItemList& list) const;

    const Findings& GetFindings() const { return m_findings; }
    /// Add the findings of another Asker.
    void Add(const Findings& other);

    /// Write the answers so far. False once a write has failed; the error is reported.
    bool Flush();

    /// Return the answers so far instead of writing them.
    std::string TakeAnswers() { return m_writer.Take(); }

    /// Write answers taken from an Asker. Returns what Flush() does.
    bool Write(const std::string& answers);

    /// What the tool's exit status is to say: nothing is found where an item could not be asked.
    int GetStatus() const;

    /// Note that something could not be asked.
    void NoteFault() { m_findings.fault = true; }
    /// True once something could not be asked.
    bool HasFault() const { return m_findings.fault; }

private:
    /// `number` is the number of the text in m_fetched.
    void Ask(const ItemList& list, const std::string& text, std::size_t number);
    bool ReportWriteError();

    const Options m_options;
    const LogClass& m_log;
    const std::function<bool()> m_await_turn;
    AnswerWriter m_writer;
    FetchedFinders m_fetched;
    Answer m_answer; ///< a member, so that its strings keep their memory from text to text
    Findings m_findings;
};

} // namespace kwlookup
