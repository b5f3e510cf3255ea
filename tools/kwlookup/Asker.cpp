// SPDX-License-Identifier: MIT
#include "Asker.h"

#include "ExitStatus.h"
#include "kwlog/Logging.h"
#include "text/SystemError.h"
#include "tools/lists/AskItem.h"
#include "tools/lists/Report.h"

#include <algorithm>
#include <iostream>
#include <utility>

namespace kwlookup {

Asker::Asker(const Options& options, const LogClass& log, std::function<bool()> await_turn)
    : m_options(options), m_log(log), m_await_turn(std::move(await_turn)),
      m_writer(options.answers) {}

void Asker::Ask(const ItemList& list, const std::string& text, std::size_t number) {
    bool answered = false;
    for (const ItemList::Item& item : list.GetItems()) {
        const std::size_t errors = m_options.strict ? CountLoggedErrors() : 0;
        const ItemVerdict verdict =
            AskItem(item, text, m_options.flags, m_log, m_answer, m_fetched.Get(item, number));
        m_findings.fault |=
            verdict == ItemVerdict::Fault || (m_options.strict && CountLoggedErrors() != errors);
        if (verdict != ItemVerdict::Match)
            continue;
        answered = true;
        if (m_options.answers.explain) {
            m_answer.item = WithoutSecrets(item.text);
            m_answer.file = item.GetFile();
        }
        m_writer.Write(text, m_answer);
        if (m_writer.IsFull())
            Flush();
        if (!m_options.all)
            break;
    }
    m_findings.found |= answered;
    if (m_options.answers.explain && !answered)
        std::cerr << "kwlookup: no item answered for [" << PrintableText(Shortened(text)) << "]\n";
}

void Asker::Ask(const ItemList& list, const std::string* texts, std::size_t count) {
    for (std::size_t size = 0; count != 0; texts += size, count -= size) {
        size = std::min(count, READ_AHEAD);
        m_fetched.Fetch(list, texts, size, m_options.flags);
        for (std::size_t i = 0; i < size; ++i)
            Ask(list, texts[i], i);
    }
}

bool Asker::MayShare(const ItemList& list) const {
    return !m_options.answers.explain && !m_log.isDebugEnabled() && !list.HasPlugins();
}

void Asker::Add(const Findings& other) {
    m_findings.found |= other.found;
    m_findings.fault |= other.fault;
    m_findings.output_failed |= other.output_failed;
}

bool Asker::Flush() {
    if (m_await_turn && !m_await_turn())
        return false;
    m_writer.Flush();
    return ReportWriteError();
}

bool Asker::Write(const std::string& answers) {
    m_writer.WriteOut(answers);
    return ReportWriteError();
}

bool Asker::ReportWriteError() {
    if (!m_writer.IsGood() && !m_findings.output_failed) {
        m_findings.output_failed = true;
        ReportError(m_log, "cannot write the answers: " + SystemErrorText(m_writer.GetError()));
    }
    return !m_findings.output_failed;
}

int Asker::GetStatus() const {
    if (m_findings.output_failed)
        return ExitStatus::Output;
    return m_findings.found   ? ExitStatus::Found
           : m_findings.fault ? ExitStatus::Unavailable
                              : ExitStatus::NotFound;
}

} // namespace kwlookup
