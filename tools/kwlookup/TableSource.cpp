// SPDX-License-Identifier: MIT
#include "TableSource.h"

#include "text/LocaleBytes.h"
#include "tools/lists/BoundedWarnings.h"
#include "tools/lists/FileChecks.h"

#include <algorithm>
#include <stdexcept>

namespace kwlookup {

namespace {

// postmap(1) ignores the locale.
constexpr std::string_view SPACE = " \t\n\v\f\r";

bool IsSpace(char c) {
    return SPACE.find(c) != std::string_view::npos;
}

std::string_view Stripped(std::string_view text) {
    const std::size_t begin = text.find_first_not_of(SPACE);
    return begin == std::string_view::npos
               ? std::string_view()
               : text.substr(begin, text.find_last_not_of(SPACE) - begin + 1);
}

/// The start of `text`, in quotes, for a message.
std::string Quoted(std::string_view text) {
    return std::string("'").append(text.substr(0, 100)).append("'");
}

/// Reads each line as a record.
class PlainSource {
public:
    PlainSource(const AddRecord& add, BoundedWarnings& warnings)
        : m_add(add), m_warnings(warnings) {}

    void Take(std::string_view line, std::size_t number) {
        const LocaleBytes& bytes = LocaleBytes::Current();
        const char* begin = line.data();
        const char* end = begin + line.size();
        bytes.Trim(begin, end);
        if (begin == end || *begin == '#')
            return;
        const char* const key_end =
            std::find_if(begin, end, [&bytes](char c) { return bytes.IsSpace(c); });
        const std::string_view key(begin, static_cast<std::size_t>(key_end - begin));
        if (begin != line.data())
            m_warnings.Add(number, "lines that begin with white space",
                           "it begins with white space; " + Quoted(key) +
                               " is a key; with --source=postmap the line would continue the one "
                               "before");
        if (std::count(key.begin(), key.end(), '"') % 2 != 0)
            m_warnings.Add(number, "keys cut inside of quotes",
                           "quotes do not join words; the key is " + Quoted(key) +
                               ", unlike with --source=postmap");
        const char* const value =
            std::find_if(key_end, end, [&bytes](char c) { return !bytes.IsSpace(c); });
        m_add(key, {value, static_cast<std::size_t>(end - value)}, number);
    }

    void Finish() {}

private:
    const AddRecord& m_add;
    BoundedWarnings& m_warnings;
};

/// Joins continued lines. Leaves out what postmap(1) leaves out with a warning.
class PostmapSource {
public:
    PostmapSource(const std::string& name, const AddRecord& add, BoundedWarnings& warnings)
        : m_name(name), m_add(add), m_warnings(warnings) {}

    void Take(std::string_view line, std::size_t number) {
        const std::string_view text = Stripped(line);
        if (text.empty() || text[0] == '#')
            return;
        if (!IsSpace(line[0])) {
            Finish();
            m_number = number;
            m_record = line;
        } else if (m_number == 0) {
            m_warnings.Add(number, "lines that are left out",
                           "there is no line before it to continue; it is left out");
        } else if (line.size() > LONGEST_INPUT_LINE - m_record.size()) {
            throw std::runtime_error(m_name + ":" + std::to_string(number) +
                                     ": the record of line " + std::to_string(m_number) +
                                     " is longer than " + std::to_string(LONGEST_INPUT_LINE) +
                                     " bytes");
        } else {
            m_record += line;
        }
    }

    /// Add the record that the last lines make up.
    void Finish() {
        if (m_number != 0)
            AddRecordOf(std::string_view(m_record).substr(0, m_record.find('\0')));
        m_number = 0;
    }

private:
    void AddRecordOf(std::string_view record) {
        std::size_t end = 0;
        bool quoted = false;
        for (; end < record.size() && (quoted || !IsSpace(record[end])); ++end) {
            if (record[end] == '\\' && end + 1 < record.size())
                ++end;
            else if (record[end] == '"')
                quoted = !quoted;
        }
        const std::string_view key = record.substr(0, end);
        const std::string_view value = Stripped(record.substr(end));
        if (quoted) {
            LeaveOut("a quote is left open in " + Quoted(key));
        } else if (key.empty() || value.empty()) {
            LeaveOut("there is no value after the key " + Quoted(key));
        } else {
            if (key.back() == ':')
                m_warnings.Add(m_number, "keys that end in a colon",
                               "the colon is part of the key " + Quoted(key));
            m_add(key, value, m_number);
        }
    }

    void LeaveOut(const std::string& reason) {
        m_warnings.Add(m_number, "lines that are left out", reason + "; it is left out");
    }

    const std::string& m_name;
    const AddRecord& m_add;
    BoundedWarnings& m_warnings;
    std::string m_record;
    std::size_t m_number = 0; ///< of the record's first line; 0 if none has begun
};

template <typename Source>
void Read(LineReader& lines, const std::string& name, Source source, BoundedWarnings& warnings) {
    for (std::string_view line; lines.Next(line);) {
        CheckBytes(line, lines.GetLineNumber(), warnings);
        source.Take(line, lines.GetLineNumber());
    }
    if (lines.GetError() != 0)
        throw std::runtime_error(name + ": " + lines.GetErrorText());
    source.Finish();
}

} // namespace

void ReadTableSource(LineReader& lines, const std::string& name, SourceFormat format,
                     Warnings& warnings, const AddRecord& add) {
    BoundedWarnings bounded(warnings, name);
    if (format == SourceFormat::Postmap)
        Read(lines, name, PostmapSource(name, add, bounded), bounded);
    else
        Read(lines, name, PlainSource(add, bounded), bounded);
}

} // namespace kwlookup
