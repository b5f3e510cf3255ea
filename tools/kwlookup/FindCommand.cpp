// SPDX-License-Identifier: MIT
#include "FindCommand.h"

#include "ExitStatus.h"
#include "host/AddressFinder.h"
#include "host/LogText.h"
#include "host/Logging.h"
#include "text/LineReader.h"
#include "text/SystemError.h"

#include <iostream>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <unistd.h>

namespace {

/// The request of an exact search, which compares texts and asks the finder for nothing else.
class ExactFinder : public KwLookupFinder {
public:
    explicit ExactFinder(const std::string& text) : m_text(text) {}

    bool Match(const std::string& value) const override { return value == m_text; }
    KwTextRange GetRequest() const override { return KwTextRange(m_text.begin(), m_text.end()); }

private:
    const std::string& m_text;
};

const std::string& MatchedValue(const AddressFinder& finder, const std::string& matched) {
    return matched.empty() ? finder.GetMatchedValue() : matched;
}

const std::string& MatchedValue(const ExactFinder&, const std::string& matched) {
    return matched;
}

} // namespace

FindCommand::FindCommand(const Options& options, const LogClass& log)
    : m_options(options), m_log(log),
      m_writer(options.json ? AnswerWriter::Json : AnswerWriter::Plain, options.explain) {}

int FindCommand::Run() {
    std::optional<ItemList> list;
    try {
        list.emplace(m_options.list, m_log);
    } catch (const std::invalid_argument& error) {
        Tell("the list [" + m_options.list + "] cannot be read: " + error.what());
        return m_options.strict ? EXIT_BAD_LIST : EXIT_UNAVAILABLE;
    }
    m_fault = list->FailedCount() != 0;
    if (m_fault && m_options.strict)
        return EXIT_BAD_LIST;
    for (const ItemList::Item& item : list->Items())
        if (item.Loaded())
            m_items.push_back(&item);

    for (const std::string& text : m_options.texts) {
        if (text == "-")
            AskStandardInput();
        else
            Ask(text);
        if (!m_writer.Good())
            break;
    }
    m_writer.Flush();
    if (!m_writer.Good()) {
        Tell("cannot write the answers: " + SystemErrorText(m_writer.Error()));
        return EXIT_OUTPUT;
    }
    return m_found ? EXIT_FOUND : m_fault ? EXIT_UNAVAILABLE : EXIT_NOT_FOUND;
}

void FindCommand::AskStandardInput() {
    LineReader lines(STDIN_FILENO);
    std::string text;
    for (std::string_view line; m_writer.Good() && lines.Next(line);) {
        if (!line.empty() && line.back() == '\r')
            line.remove_suffix(1);
        text.assign(line);
        Ask(text);
        if (!lines.Buffered())
            m_writer.Flush();
    }
    if (lines.Error() != 0) {
        Tell("cannot read standard input: " + SystemErrorText(lines.Error()));
        m_fault = true;
    }
}

void FindCommand::Ask(const std::string& text) {
    if (m_options.flags & FIND_EXACT)
        Ask(text, ExactFinder(text));
    else
        Ask(text, AddressFinder(text));
}

template <typename Finder>
void FindCommand::Ask(const std::string& text, const Finder& finder) {
    bool answered = false;
    for (const ItemList::Item* item : m_items) {
        std::string part;
        std::string matched;
        try {
            if (!item->holder->Find(finder, &part, m_options.flags, &matched))
                continue;
        } catch (const std::exception& error) {
            Tell("[" + item->text + "] could not answer for [" + text + "]: " + error.what());
            m_fault = true;
            continue;
        }
        answered = true;
        Answer answer;
        // The holder puts a blank before each result that it gathers.
        answer.result.assign(part, part.empty() ? 0 : 1);
        answer.value = MatchedValue(finder, matched);
        if (m_options.explain) {
            answer.item = item->text;
            answer.file = item->Description();
        }
        m_writer.Write(text, answer);
        if (!m_options.all)
            break;
    }
    m_found |= answered;
    if (m_options.explain && !answered)
        std::cerr << PrintableText(text) << ": no item answered\n";
}

void FindCommand::Tell(const std::string& text) const {
    LogText(m_log, log4cxx::Level::LEVEL_ERROR, text);
}
