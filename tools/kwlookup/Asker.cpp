// SPDX-License-Identifier: MIT
#include "Asker.h"

#include "AskItem.h"
#include "ExitStatus.h"
#include "Tell.h"
#include "kwlog/Logging.h"
#include "text/SystemError.h"

#include <iostream>

Asker::Asker(const Options& options, const LogClass& log)
    : m_options(options), m_log(log), m_writer(options.answers) {}

void Asker::Ask(const ItemList& list, const std::string& text) {
    bool answered = false;
    for (const ItemList::Item& item : list.Items()) {
        const std::size_t errors = LoggedErrors();
        const ItemVerdict verdict = AskItem(item, text, m_options.flags, m_log, m_answer);
        m_fault |= verdict == ItemVerdict::Fault || (m_options.strict && LoggedErrors() != errors);
        if (verdict != ItemVerdict::Match)
            continue;
        answered = true;
        if (m_options.answers.explain) {
            m_answer.item = WithoutSecrets(item.text);
            m_answer.file = item.File();
        }
        m_writer.Write(text, m_answer);
        if (!m_options.all)
            break;
    }
    m_found |= answered;
    if (m_options.answers.explain && !answered)
        std::cerr << "kwlookup: no item answered for [" << PrintableText(Shortened(text)) << "]\n";
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
