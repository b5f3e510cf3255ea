// SPDX-License-Identifier: MIT
#pragma once

#include "text/FileDescriptor.h"
#include "text/LineReader.h"

#include <string>

namespace kwlookup {

/// A text file to convert, or standard input.
class SourceFile {
public:
    /// "-" stands for standard input. Throws std::runtime_error "NAME: REASON".
    explicit SourceFile(const std::string& name);

    LineReader& GetLines() { return m_lines; }
    /// The name for messages.
    const std::string& GetName() const { return m_name; }
    /// True if `name` is this same file.
    bool Is(const std::string& name) const;

private:
    const std::string m_name;
    const FileDescriptor m_file; ///< empty for standard input
    LineReader m_lines;
};

} // namespace kwlookup
