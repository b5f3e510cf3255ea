// SPDX-License-Identifier: MIT
#pragma once

#include "lookup/builtin/KwVectorStrLookup.h"

#include <string>

/// The built-in type "file": the lines of a text file.
///
/// Each line is a record. White space (of the global locale) is trimmed at both ends, and empty
/// lines are skipped. There are no comments, quotes or continuation lines, and no limits. Records
/// are searched as in KwVectorStrLookup.
class KW_EXPORT KwFileLookup : public KwVectorStrLookup {
public:
    /// Makes an empty object, which the caller owns; the registry calls it for "file". Ignores
    /// `text`. Throws boost::thread_resource_error when the system cannot make a lock.
    static KwIfLookup* Create(const std::string& text);

    /// Replaces the records by those of `file_name`: a regular file up to its current size,
    /// /dev/null, or a pipe that the process holds (/dev/stdin, /dev/fd/N).
    ///
    /// Throws std::invalid_argument "Can not load file 'NAME': REASON" with the system's reason
    /// when the file cannot be opened, is a directory or does not fit into memory, and with "not a
    /// regular file" for a device or another pipe. The old records and the old name then stay.
    ///
    /// A read error ends the file. The records before it become the list, and the warning
    /// "KwFileLookup: read error in NAME after N records: REASON" is logged. When a holder is being
    /// filled, the error "read error after N records: REASON" is also collected for the item, and
    /// KwObjectHolder::AfterReload() reports it.
    ///
    /// Writes "KwFileLookup: loaded N records from NAME file." at debug level. The file is loaded
    /// before anything is logged, so an exception of the logger leaves the new records.
    ///
    /// Cost: about 60 ns a line, and one allocation for each record over 15 bytes.
    void Init(const std::string& file_name) override;

    /// Returns the name of the file that was loaded last, or an empty text.
    std::string GetDescription() const override;

private:
    std::string m_file_name;
};
