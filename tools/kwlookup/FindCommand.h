// SPDX-License-Identifier: MIT
#pragma once

#include "AnswerWriter.h"
#include "ItemList.h"

#include <string>
#include <vector>

/// `kwlookup find`: asks an object list about texts.
class FindCommand {
public:
    struct Options {
        std::string list;
        std::vector<std::string> texts; ///< "-" stands for the lines of standard input
        int flags = 0;                  ///< KwFindFlags
        bool all = false;
        bool explain = false;
        bool json = false;
        bool strict = false;
    };

    /// Keeps both addresses.
    FindCommand(const Options& options, const LogClass& log);

    /// Returns the exit status.
    int Run();

private:
    void Ask(const std::string& text);
    template <typename Finder>
    void Ask(const std::string& text, const Finder& finder);
    void AskStandardInput();
    void Tell(const std::string& text) const;

    const Options& m_options;
    const LogClass& m_log;
    AnswerWriter m_writer;
    std::vector<ItemList::Item const*> m_items; ///< those that were loaded
    bool m_found = false;
    bool m_fault = false;
};
