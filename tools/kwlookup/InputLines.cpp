// SPDX-License-Identifier: MIT
#include "InputLines.h"

#include "Tell.h"
#include "text/SystemError.h"

#include <string_view>
#include <unistd.h>

InputLines::InputLines(bool null)
    : m_null(null), m_lines(STDIN_FILENO, UINT64_MAX, null ? '\0' : '\n') {}

bool InputLines::Next(std::string& text) {
    std::string_view line;
    if (!m_lines.Next(line))
        return false;
    if (!m_null && !line.empty() && line.back() == '\r')
        line.remove_suffix(1);
    text.assign(line);
    return true;
}

std::size_t InputLines::Next(std::vector<std::string>& texts) {
    std::size_t count = 0;
    while (count < texts.size() && (count == 0 || Buffered()) && Next(texts[count]))
        ++count;
    return count;
}

bool InputLines::TellError(const LogClass& log) const {
    if (m_lines.Error() == 0)
        return true;
    ::TellError(log, "cannot read standard input: " + SystemErrorText(m_lines.Error()));
    return false;
}
