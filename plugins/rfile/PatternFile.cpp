// SPDX-License-Identifier: MIT
#include "plugins/rfile/PatternFile.h"

#include "text/LineReader.h"
#include "text/LocaleBytes.h"
#include "text/TextFile.h"

#include <cerrno>
#include <new>
#include <stdexcept>
#include <string_view>

namespace kwlookup {

namespace {

std::string_view Trimmed(std::string_view text) {
    const char* begin = text.data();
    const char* end = begin + text.size();
    LocaleBytes::Current().Trim(begin, end);
    return std::string_view(begin, static_cast<std::size_t>(end - begin));
}

/// The position of the slash that ends the pattern of `line`, which begins with one.
std::size_t ClosingSlash(std::string_view line) {
    for (std::size_t i = 1; i < line.size(); ++i) {
        if (line[i] == '/')
            return i;
        if (line[i] == '\\')
            ++i;
    }
    throw std::invalid_argument("no slash ends the pattern");
}

unsigned WithFlag(unsigned options, char flag) {
    switch (flag) {
    case 'i':
        return options | Pcre2Pattern::IgnoreCase;
    case 'c':
        return options & ~unsigned(Pcre2Pattern::IgnoreCase);
    case 'm':
        return options | Pcre2Pattern::MultiLine;
    case 's':
        return options | Pcre2Pattern::DotAll;
    case 'x':
        return options | Pcre2Pattern::WhiteSpace;
    default:
        throw std::invalid_argument(std::string("unknown flag '") + flag + "'");
    }
}

/// `line` is trimmed, and neither blank nor a comment.
void AddLine(PatternList& list, std::string_view line, std::size_t number, unsigned options) {
    if (line[0] != '/') {
        list.Add(line, options, std::string_view(), number);
        return;
    }
    // PCRE2 reads `\/` as a slash, so the backslash can stay.
    const std::size_t slash = ClosingSlash(line);
    std::size_t end = slash + 1;
    for (; end < line.size() && !LocaleBytes::Current().IsSpace(line[end]); ++end)
        options = WithFlag(options, line[end]);
    list.Add(line.substr(1, slash - 1), options, Trimmed(line.substr(end)), number);
}

std::unique_ptr<const PatternList> ReadPatterns(const std::string& name, unsigned options) {
    const FileDescriptor file = OpenTextFile(name);
    auto list = std::make_unique<PatternList>(name);
    LineReader lines(file.Get(), BytesToRead(file.Get()));
    for (std::string_view line; lines.Next(line);) {
        const std::string_view text =
            Trimmed(lines.GetLineNumber() == 1 ? WithoutByteOrderMark(line) : line);
        if (text.empty() || text[0] == '#')
            continue;
        try {
            AddLine(*list, text, lines.GetLineNumber(), options);
        } catch (const std::invalid_argument& error) {
            throw std::invalid_argument(list->Place(lines.GetLineNumber()) + error.what());
        }
    }
    if (lines.GetError() != 0)
        throw CanNotLoad(name, lines.GetError());
    list->Finish();
    return list;
}

} // namespace

std::unique_ptr<const PatternList> ReadPatternFile(const std::string& name, unsigned options) {
    try {
        return ReadPatterns(name, options);
    } catch (const std::bad_alloc&) {
        throw CanNotLoad(name, ENOMEM);
    }
}

} // namespace kwlookup
