// SPDX-License-Identifier: MIT
#include "CdbWriter.h"

#include "text/SystemError.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>

namespace {

/// The mode of a file that a program makes anew.
mode_t NewMode() {
    const mode_t mask = ::umask(0);
    ::umask(mask);
    return 0666 & ~mask;
}

} // namespace

CdbWriter::CdbWriter(const std::string& name) : m_name(name) {
    std::error_code no_such_file;
    const std::filesystem::path target = std::filesystem::canonical(name, no_such_file);
    if (!no_such_file)
        m_name = target.string();
    struct stat old;
    const bool exists = ::stat(m_name.c_str(), &old) == 0;
    if (exists && !S_ISREG(old.st_mode))
        throw std::runtime_error(m_name + ": not a regular file");
    m_new_name = m_name + ".XXXXXX";
    m_file = FileDescriptor(::mkostemp(m_new_name.data(), O_CLOEXEC));
    if (!m_file)
        Fail();
    if (::fchmod(m_file.Get(), exists ? old.st_mode & 07777 : NewMode()) != 0 ||
        ::cdb_make_start(&m_make, m_file.Get()) != 0) {
        const int error = errno;
        ::unlink(m_new_name.c_str());
        errno = error;
        Fail();
    }
}

CdbWriter::~CdbWriter() {
    if (m_new_name.empty())
        return;
    if (!m_finished)
        ::cdb_make_finish(&m_make); // nothing else gives its memory back
    ::unlink(m_new_name.c_str());
}

void CdbWriter::Add(std::string_view key, std::string_view value) {
    if (::cdb_make_add(&m_make, key.data(), static_cast<unsigned>(key.size()), value.data(),
                       static_cast<unsigned>(value.size())) != 0)
        Fail();
}

void CdbWriter::Finish() {
    m_finished = true;
    if (::cdb_make_finish(&m_make) != 0 || ::fsync(m_file.Get()) != 0 ||
        std::rename(m_new_name.c_str(), m_name.c_str()) != 0)
        Fail();
    m_new_name.clear();
    SyncDirectory();
}

void CdbWriter::Fail() const {
    throw std::runtime_error(m_name + ": " + SystemErrorText(errno));
}

/// The new name, too, is to outlive a crash of the machine.
void CdbWriter::SyncDirectory() const {
    const std::string parent = std::filesystem::path(m_name).parent_path().string();
    const FileDescriptor directory = FileDescriptor::OpenForReading(parent.empty() ? "." : parent);
    if (!directory || ::fsync(directory.Get()) != 0)
        Fail();
}
