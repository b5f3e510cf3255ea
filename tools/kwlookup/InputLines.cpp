// SPDX-License-Identifier: MIT
#include "InputLines.h"

#include "tools/lists/Report.h"

#include <string_view>
#include <unistd.h>

namespace kwlookup {

InputLines::InputLines(bool null)
    : m_null(null), m_lines(STDIN_FILENO, UINT64_MAX, null ? '\0' : '\n') {
    m_lines.SetLongestLine(LONGEST_INPUT_LINE);
}

bool InputLines::Next(std::string& text) {
    std::string_view line;
    if (!m_lines.Next(line))
        return false;
    Assign(text, line);
    return true;
}

std::size_t InputLines::Next(std::vector<std::string>& texts) {
    if (!Next(texts.front()))
        return 0;
    std::size_t count = 1;
    for (std::string_view line; count < texts.size() && m_lines.NextBuffered(line); ++count)
        Assign(texts[count], line);
    return count;
}

bool InputLines::NextLines(std::size_t most, std::string& lines) {
    std::string_view next;
    if (!m_lines.NextLines(most, next))
        return false;
    lines.assign(next);
    return true;
}

std::size_t InputLines::Split(std::string_view& lines, std::vector<std::string>& texts) const {
    std::size_t count = 0;
    for (; count < texts.size() && !lines.empty(); ++count) {
        const std::size_t size = lines.find(m_null ? '\0' : '\n');
        Assign(texts[count], lines.substr(0, size));
        lines.remove_prefix(size < lines.size() ? size + 1 : lines.size());
    }
    return count;
}

void InputLines::Assign(std::string& text, std::string_view line) const {
    if (!m_null && !line.empty() && line.back() == '\r')
        line.remove_suffix(1);
    text.assign(line);
}

bool InputLines::ReportError(const LogClass& log) const {
    if (m_lines.GetError() == 0)
        return true;
    kwlookup::ReportError(log, "cannot read standard input: " + m_lines.GetErrorText());
    return false;
}

} // namespace kwlookup
