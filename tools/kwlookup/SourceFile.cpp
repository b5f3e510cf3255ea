// SPDX-License-Identifier: MIT
#include "SourceFile.h"

#include "text/SystemError.h"

#include <cerrno>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>

namespace {

FileDescriptor Open(const std::string& name) {
    if (name == "-")
        return FileDescriptor();
    FileDescriptor file = FileDescriptor::OpenForReading(name);
    if (!file)
        throw std::runtime_error(name + ": " + SystemErrorText(errno));
    return file;
}

} // namespace

SourceFile::SourceFile(const std::string& name)
    : m_name(name), m_file(Open(name)), m_lines(m_file ? m_file.Get() : STDIN_FILENO) {}

bool SourceFile::Is(const std::string& name) const {
    struct stat open, named;
    return ::fstat(m_file ? m_file.Get() : STDIN_FILENO, &open) == 0 &&
           ::stat(name.c_str(), &named) == 0 && open.st_dev == named.st_dev &&
           open.st_ino == named.st_ino;
}
