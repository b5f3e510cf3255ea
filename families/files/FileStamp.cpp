// SPDX-License-Identifier: MIT
#include "families/files/FileStamp.h"

#include "text/SystemError.h"

#include <cerrno>
#include <stdexcept>

namespace kwlookup {

FileStamp::FileStamp(const std::string& name) {
    Check(name, ::stat(name.c_str(), &m_stat));
}

FileStamp::FileStamp(const std::string& name, int file) {
    Check(name, ::fstat(file, &m_stat));
}

void FileStamp::Check(const std::string& name, int status) const {
    if (status != 0)
        throw std::runtime_error(name + ": " + SystemErrorText(errno));
    // To open a pipe would wait for a writer.
    if (!S_ISREG(m_stat.st_mode))
        throw std::runtime_error(name + ": not a regular file");
}

} // namespace kwlookup
