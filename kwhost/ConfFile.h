// SPDX-License-Identifier: MIT
#pragma once

#include "host/KwExport.h"

#include <cstddef>
#include <map>
#include <string>
#include <vector>

namespace kwlookup {

/// A configuration file: sections of `key = value` lines.
///
///     const kwlookup::ConfFile file("/etc/host.conf");
///     if (file.GetErrors().empty())
///         loader->SetFile(file);
///
/// Lines that begin with '#' or ';' are comments. A line that begins with white space continues the
/// value of the line before it, after a blank. The value is everything after the '=', trimmed; '#',
/// ';' and quotes belong to it. `Key.file = NAME` reads the value from the file NAME, without its
/// last line end. The letter case of a key does not matter. A key may occur once in a section. A
/// section has up to 10,000 keys.
///
/// Threads: any. An object never changes. Reading a file takes a process-wide lock, because the INI
/// parser has process-wide settings.
class KW_EXPORT ConfFile {
public:
    /// One `key = value`.
    struct Setting {
        std::string key;   ///< as written, without ".file"
        std::string value; ///< of KEY.file: the content of that file
        std::size_t line;  ///< the first line of the setting
        bool secret;       ///< must not be shown: a KEY.file, or named like a password
        bool from_file;    ///< a KEY.file
    };

    /// All settings under headers `[name]` of one name.
    struct Section {
        std::size_t line = 0;          ///< the line of its first header
        std::vector<Setting> settings; ///< in the order of the file
    };

    /// Makes an object without a file and without sections.
    ConfFile() = default;

    /// Reads the file `name`. Throws std::runtime_error "NAME: REASON" when the file cannot be
    /// read, when its owner is neither root nor the user of the process, and when others than its
    /// owner may write to it. Other errors are kept for GetErrors(). A line may have up to 1 MiB, a
    /// value file up to 64 KiB.
    explicit ConfFile(const std::string& name);

    /// Returns the name of the file, or an empty text without a file.
    const std::string& GetName() const { return m_name; }

    /// Returns all syntax errors of the file, as "NAME:LINE: TEXT".
    const std::vector<std::string>& GetErrors() const { return m_errors; }

    /// Returns warnings for the administrator, as "NAME:LINE: TEXT": value files that others than
    /// their owner may read.
    const std::vector<std::string>& GetWarnings() const { return m_warnings; }

    /// Returns the sections by name.
    const std::map<std::string, Section>& GetSections() const { return m_sections; }

    /// Returns "NAME:LINE: ", or "NAME: " when `line` is 0, to begin a message with.
    std::string Place(std::size_t line) const;

private:
    class Reader;

    void CheckSection(std::vector<Setting>& settings);
    void ReadValueFile(Setting& setting);

    std::string m_name;
    std::map<std::string, Section> m_sections;
    std::vector<std::string> m_errors;
    std::vector<std::string> m_warnings;
};

} // namespace kwlookup
