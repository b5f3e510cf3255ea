// SPDX-License-Identifier: MIT
#include "AnswerWriter.h"

#include "Field.h"

#include <cerrno>
#include <nlohmann/json.hpp>
#include <unistd.h>

namespace kwlookup {

namespace {

/// The usual capacity of a pipe.
constexpr std::size_t BLOCK_BYTES = 64 * 1024;

} // namespace

void AnswerWriter::Write(const std::string& text, const Answer& answer) {
    if (m_options.format == Json) {
        nlohmann::ordered_json line;
        line["text"] = text;
        line["result"] = answer.Shown(text);
        if (m_options.explain) {
            line["item"] = answer.item;
            line["value"] = answer.value;
            line["file"] = answer.file;
        }
        // Mail data need not be UTF-8, JSON must be.
        m_buffer += line.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
    } else if (m_options.format == Value) {
        AddField(answer.Shown(text));
    } else {
        const std::size_t begin = m_buffer.size();
        AddField(text);
        const std::size_t size = m_buffer.size() - begin;
        m_buffer += '\t';
        if (const std::string& shown = answer.Shown(text); shown == text)
            m_buffer.append(m_buffer, begin, size); // cheaper than to test each byte again
        else
            AddField(shown);
        if (m_options.explain) {
            for (const std::string* field : {&answer.item, &answer.value, &answer.file}) {
                m_buffer += '\t';
                AddField(*field);
            }
        }
    }
    m_buffer += m_options.null ? '\0' : '\n';
}

bool AnswerWriter::IsFull() const {
    return m_buffer.size() >= BLOCK_BYTES;
}

void AnswerWriter::AddField(const std::string& text) {
    if (m_options.raw)
        m_buffer += text;
    else
        AppendField(m_buffer, text);
}

void AnswerWriter::Flush() {
    WriteOut(m_buffer);
    m_buffer.clear();
}

std::string AnswerWriter::Take() {
    std::string answers;
    answers.reserve(BLOCK_BYTES);
    answers.swap(m_buffer);
    return answers;
}

void AnswerWriter::WriteOut(const std::string& answers) {
    const char* begin = answers.data();
    const char* const end = begin + answers.size();
    while (begin != end && IsGood()) {
        const ssize_t written =
            ::write(STDOUT_FILENO, begin, static_cast<std::size_t>(end - begin));
        if (written >= 0)
            begin += written;
        else if (errno != EINTR)
            m_error = errno;
    }
}

} // namespace kwlookup
