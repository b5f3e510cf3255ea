// SPDX-License-Identifier: MIT
#include "tools/lists/FileChecks.h"

#include "text/FileDescriptor.h"
#include "text/LineReader.h"
#include "text/LocaleBytes.h"
#include "text/TextFile.h"
#include "tools/lists/ForeignSyntax.h"
#include "tools/lists/HiddenKeys.h"

#include <algorithm>
#include <array>
#include <sys/stat.h>
#include <unistd.h>

namespace kwlookup {

namespace {

/// Open a regular file. Other files are not read twice: a pipe would block, or be empty then.
FileDescriptor OpenRegular(const std::string& name) {
    struct stat status;
    if (::stat(name.c_str(), &status) != 0 || !S_ISREG(status.st_mode))
        return FileDescriptor();
    return FileDescriptor::OpenForReading(name);
}

bool HasUtf16Mark(std::string_view text) {
    const std::string_view mark = text.substr(0, 2);
    return mark == "\xff\xfe" || mark == "\xfe\xff";
}

/// The first bytes of a file, by which its encoding is guessed.
class Start {
public:
    explicit Start(int fd) {
        const ssize_t size = ::pread(fd, m_bytes.data(), m_bytes.size(), 0);
        m_text = std::string_view(m_bytes.data(), size > 0 ? static_cast<std::size_t>(size) : 0);
    }

    std::string_view GetText() const { return m_text; }

    /// By its byte order mark, or by its NUL bytes: half of all bytes in Latin text are NUL.
    bool IsUtf16() const {
        const auto zeros = static_cast<std::size_t>(std::count(m_text.begin(), m_text.end(), '\0'));
        return HasUtf16Mark(m_text) || (zeros > 1 && zeros * 4 > m_text.size());
    }

private:
    std::array<char, 4096> m_bytes;
    std::string_view m_text;
};

/// Warn if the file is in UTF-16. True then: its lines are not worth checking.
bool CheckUtf16(const Start& start, BoundedWarnings& warnings) {
    if (!start.IsUtf16())
        return false;
    warnings.Add(1, "UTF-16", "the file is in UTF-16 and matches nothing; save it as UTF-8");
    return true;
}

std::string_view Trimmed(std::string_view line) {
    const char* begin = line.data();
    const char* end = begin + line.size();
    LocaleBytes::Current().Trim(begin, end);
    return std::string_view(begin, static_cast<std::size_t>(end - begin));
}

/// `line` is trimmed, and not empty.
void CheckListLine(std::string_view line, std::size_t number, HiddenKeys& keys,
                   BoundedWarnings& warnings) {
    const LocaleBytes& bytes = LocaleBytes::Current();
    const auto end =
        std::find_if(line.begin(), line.end(), [&bytes](char c) { return bytes.IsSpace(c); });
    const std::string_view key = line.substr(0, static_cast<std::size_t>(end - line.begin()));
    const std::string foreign = ForeignKey(key);
    if (!foreign.empty())
        warnings.Add(number, "keys in another program's syntax", foreign);
    const HiddenKeys::Earlier earlier = keys.Add(key, number);
    if (earlier.line == 0)
        return;
    const std::string name(key.substr(0, 100)); // enough for a message
    if (earlier.same)
        warnings.Add(number, "duplicate keys",
                     "'" + name + "' is already in line " + std::to_string(earlier.line));
    else
        warnings.Add(number, "keys that never answer",
                     "'" + name + "' never answers: line " + std::to_string(earlier.line) +
                         " comes first");
}

/// `line` is trimmed, and neither blank nor a comment.
void CheckPatternLine(std::string_view line, std::size_t number, BoundedWarnings& warnings) {
    const LocaleBytes& bytes = LocaleBytes::Current();
    const auto is_word = [&](std::string_view word) {
        return bytes.EqualNoCase(line.substr(0, word.size()), word) &&
               (line.size() == word.size() || bytes.IsSpace(line[word.size()]) ||
                line[word.size()] == '/' || line[word.size()] == '!');
    };
    constexpr char KIND[] = "lines in another program's syntax";
    if (is_word("if") || is_word("endif"))
        warnings.Add(number, KIND, "'if' and 'endif' are patterns here, not conditions");
    else if (line.size() > 1 && line[0] == '!' && Trimmed(line.substr(1)).substr(0, 1) == "/")
        warnings.Add(number, KIND, "'!' is part of a pattern here, and does not negate one");
    if (line[0] != '/')
        return;
    std::size_t flag = 1;
    while (flag < line.size() && line[flag] != '/')
        flag += line[flag] == '\\' ? 2 : 1;
    for (++flag; flag < line.size() && !bytes.IsSpace(line[flag]); ++flag) {
        if (line[flag] == 'i')
            warnings.Add(number, "flags with two meanings",
                         "the flag i ignores letter case here, but makes it count in tables of "
                         "Postfix; write (?i) or the flag c");
        else if (line[flag] == 's')
            warnings.Add(number, "flags with two meanings",
                         "the flag s lets '.' match a line feed here, but prevents it in tables of "
                         "Postfix; write (?s)");
    }
}

} // namespace

void CheckBytes(std::string_view line, std::size_t number, BoundedWarnings& warnings) {
    if (number == 1 && WithoutByteOrderMark(line).size() != line.size())
        warnings.Add(number, "byte order marks",
                     "a byte order mark is part of the first key; save the file without it");
    if (number == 1 && HasUtf16Mark(line))
        warnings.Add(number, "UTF-16", "the file is in UTF-16; save it as UTF-8");
    if (line.find('\0') != std::string_view::npos)
        warnings.Add(number, "lines with a NUL byte", "the line holds a NUL byte");
}

void CheckListFile(const std::string& name, FileCheck check, Warnings& warnings) {
    const FileDescriptor file = OpenRegular(name);
    if (!file)
        return;
    BoundedWarnings bounded(warnings, name);
    const Start start(file.Get());
    if (CheckUtf16(start, bounded))
        return;
    if (check == FileCheck::Start) {
        CheckBytes(start.GetText().substr(0, start.GetText().find('\n')), 1, bounded);
        return;
    }
    HiddenKeys keys;
    LineReader lines(file.Get(), BytesToRead(file.Get()));
    for (std::string_view line; lines.Next(line);) {
        CheckBytes(line, lines.GetLineNumber(), bounded);
        const std::string_view text = Trimmed(line);
        if (!text.empty())
            CheckListLine(text, lines.GetLineNumber(), keys, bounded);
    }
}

void CheckPatternFile(const std::string& name, Warnings& warnings) {
    const FileDescriptor file = OpenRegular(name);
    if (!file)
        return;
    BoundedWarnings bounded(warnings, name);
    if (CheckUtf16(Start(file.Get()), bounded))
        return;
    LineReader lines(file.Get(), BytesToRead(file.Get()));
    for (std::string_view line; lines.Next(line);) {
        const std::size_t number = lines.GetLineNumber();
        // A pattern file may begin with the mark.
        if (number == 1)
            line = WithoutByteOrderMark(line);
        CheckBytes(line, number, bounded);
        const std::string_view text = Trimmed(line);
        if (text.empty() || text[0] == '#')
            continue;
        if (text.data() != line.data())
            bounded.Add(number, "lines that begin with white space",
                        "it begins with white space; here it is a pattern of its own and does not "
                        "continue the line before");
        CheckPatternLine(text, number, bounded);
    }
}

} // namespace kwlookup
