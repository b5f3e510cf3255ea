// SPDX-License-Identifier: MIT
#include "SourceFile.h"

#include "text/TextFile.h"

#include <cstdint>
#include <sys/stat.h>
#include <unistd.h>

namespace kwlookup {

namespace {

FileDescriptor Open(const std::string& name) {
    return name == "-" ? FileDescriptor() : OpenInput(name);
}

} // namespace

SourceFile::SourceFile(const std::string& name)
    : m_name(name), m_file(Open(name)), m_lines(m_file ? m_file.Get() : STDIN_FILENO,
                                                m_file ? BytesToRead(m_file.Get()) : UINT64_MAX) {
    m_lines.SetLongestLine(LONGEST_INPUT_LINE);
}

bool SourceFile::Is(const std::string& name) const {
    struct stat open, named;
    return ::fstat(m_file ? m_file.Get() : STDIN_FILENO, &open) == 0 &&
           ::stat(name.c_str(), &named) == 0 && open.st_dev == named.st_dev &&
           open.st_ino == named.st_ino;
}

} // namespace kwlookup
