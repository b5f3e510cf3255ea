// SPDX-License-Identifier: MIT
#pragma once

#include "lookup/builtin/KwVectorStrLookup.h"

#include <string>

/// The lines of a text file: the built-in type "file".
///
/// The file is read as bytes. Each line, trimmed at both ends of what the global locale calls white
/// space, is a record; an empty one is skipped. There are no comments, no quotes, no continuation
/// lines and no limits. Records are searched as in KwVectorStrLookup.
class KW_EXPORT KwFileLookup : public KwVectorStrLookup {
public:
    /// The creator that the factory calls for "file"; `text` is ignored. The caller owns the
    /// object. Throws boost::thread_resource_error when the system has no lock left.
    static KwIfLookup* Create(const std::string& text);

    /// Loads `file_name` in place of the records held so far: a regular file as large as it is now,
    /// /dev/null, or a pipe that the process was given (/dev/stdin, /dev/fd/N).
    ///
    /// Throws std::invalid_argument "Can not load file 'NAME': REASON" with the system's reason
    /// when the file cannot be opened, is a directory or needs more memory than there is, and with
    /// "not a regular file" for a device or another pipe; the records and the name held so far then
    /// stay. A read error in the middle ends the file: what was read becomes the list, the warning
    /// "KwFileLookup: read error in NAME after N records: REASON" tells it, and where a holder is
    /// being filled the error "read error after N records: REASON" is collected for the item, for
    /// KwObjectHolder::AfterReload() to report.
    /// Writes "KwFileLookup: loaded N records from NAME file." at debug level. What the logger
    /// throws comes when the file is loaded.
    /// Cost: about 60 ns a line and one allocation for each record over 15 bytes.
    void Init(const std::string& file_name) override;

    /// The name of the file last loaded; empty before that.
    std::string GetDescription() const override;

private:
    std::string m_file_name;
};
