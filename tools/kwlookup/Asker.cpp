// SPDX-License-Identifier: MIT
#include "Asker.h"

#include "ExitStatus.h"
#include "Tell.h"
#include "host/AddressFinder.h"
#include "host/Logging.h"
#include "text/SystemError.h"

#include <exception>
#include <iostream>

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

Asker::Asker(const Options& options, const LogClass& log)
    : m_options(options), m_log(log),
      m_writer(options.json ? AnswerWriter::Json : AnswerWriter::Plain, options.explain) {}

void Asker::Ask(const ItemList& list, const std::string& text) {
    if (m_options.flags & FIND_EXACT)
        AskWith<ExactFinder>(list, text);
    else
        AskWith<AddressFinder>(list, text);
}

template <typename Finder>
void Asker::AskWith(const ItemList& list, const std::string& text) {
    bool answered = false;
    for (const ItemList::Item& item : list.Items()) {
        const Finder finder(text); // with nothing left from the item before
        std::string part;
        std::string matched;
        try {
            // An item that was not loaded has an empty holder, which finds nothing.
            if (!item.holder->Find(finder, &part, m_options.flags, &matched))
                continue;
        } catch (const std::exception& error) {
            TellError(m_log,
                      "[" + item.text + "] could not answer for [" + text + "]: " + error.what());
            m_fault = true;
            continue;
        }
        answered = true;
        Answer answer;
        // The holder puts a blank before each result that it gathers.
        answer.result.assign(part, part.empty() ? 0 : 1);
        answer.value = MatchedValue(finder, matched);
        if (m_options.explain) {
            answer.item = item.text;
            answer.file = item.Description();
        }
        m_writer.Write(text, answer);
        if (!m_options.all)
            break;
    }
    m_found |= answered;
    if (m_options.explain && !answered)
        std::cerr << "kwlookup: no item answered for [" << PrintableText(text) << "]\n";
}

bool Asker::Flush() {
    const bool good = m_writer.Good();
    m_writer.Flush();
    if (good && !m_writer.Good())
        TellError(m_log, "cannot write the answers: " + SystemErrorText(m_writer.Error()));
    return m_writer.Good();
}

int Asker::Status() const {
    if (!m_writer.Good())
        return EXIT_OUTPUT;
    return m_found ? EXIT_FOUND : m_fault ? EXIT_UNAVAILABLE : EXIT_NOT_FOUND;
}
