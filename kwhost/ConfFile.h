// SPDX-License-Identifier: MIT
#pragma once

#include "host/KwExport.h"

#include <cstddef>
#include <map>
#include <string>
#include <vector>

namespace kwlookup {

/// A configuration file, read and checked for form: sections of `key = value` lines.
///
/// Lines that begin with '#' or ';' are comments. A line that begins with white space goes on with
/// the value of the line before it, after a blank. Everything after the '=', trimmed, is the value,
/// '#', ';' and quotes included. `Key.file = NAME` takes the value from the file NAME, without its
/// last line end. A key counts without regard to letter case, and may stand once in a section. A
/// section has up to 10,000 keys.
///
/// Reading keeps no state; a read file never changes. Threads: reading takes a lock, since the
/// parser underneath has process-wide settings; everything else may be called by any thread.
class KW_EXPORT ConfFile {
public:
    /// One `key = value`.
    struct Setting {
        std::string key;   ///< as written, without ".file"
        std::string value; ///< of a file of its own: what that file holds
        std::size_t line;  ///< where the setting begins
        bool secret;       ///< from a file of its own, or by its name a password: never to be shown
        bool from_file;    ///< from a file of its own
    };

    /// What stands under one `[name]`, wherever in the file.
    struct Section {
        std::size_t line = 0;          ///< of its first header
        std::vector<Setting> settings; ///< in the order of the file
    };

    /// No file: no section.
    ConfFile() = default;

    /// Reads `name`. Throws std::runtime_error "NAME: REASON" when the file cannot be read or
    /// others than its owner (who must be root or the process's user) may write it, and otherwise
    /// keeps what is wrong in GetErrors(). Lines may have up to 1 MiB, value files 64 KiB.
    explicit ConfFile(const std::string& name);

    /// The name of the file; empty when there is none.
    const std::string& GetName() const { return m_name; }

    /// Everything wrong with the file's form, as "NAME:LINE: TEXT".
    const std::vector<std::string>& GetErrors() const { return m_errors; }

    /// What the administrator should know, as "NAME:LINE: TEXT": value files that others than
    /// their owner may read.
    const std::vector<std::string>& GetWarnings() const { return m_warnings; }

    /// The sections by name, their settings in file order.
    const std::map<std::string, Section>& GetSections() const { return m_sections; }

    /// "NAME:LINE: "; without the line when that is 0.
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
