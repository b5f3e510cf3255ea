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

/// What `name` stands for once links are followed, be it there or not.
std::string FollowLinks(std::filesystem::path name) {
    constexpr int MAX_LINKS = 40; // more are an error to the system, too
    std::error_code no_link;
    for (int i = 0; i < MAX_LINKS && std::filesystem::is_symlink(name, no_link); ++i)
        name = name.parent_path() / std::filesystem::read_symlink(name);
    return name.string();
}

/// The directory of the file `name`.
std::string DirectoryOf(const std::string& name) {
    const std::string parent = std::filesystem::path(name).parent_path().string();
    return parent.empty() ? "." : parent;
}

/// The mode of a file that a program makes anew.
mode_t NewMode() {
    const mode_t mask = ::umask(0);
    ::umask(mask);
    return 0666 & ~mask;
}

} // namespace

CdbWriter::CdbWriter(const std::string& name)
    : m_name(FollowLinks(name)), m_new_name(m_name + ".XXXXXX"),
      m_remove_on_signal(m_new_name.c_str()) {
    struct stat old;
    const bool exists = ::stat(m_name.c_str(), &old) == 0;
    if (!exists && errno != ENOENT)
        Fail();
    if (exists && !S_ISREG(old.st_mode))
        throw std::runtime_error(m_name + ": not a regular file");
    m_directory = FileDescriptor::OpenForReading(DirectoryOf(m_name));
    if (!m_directory)
        Fail();
    m_file = FileDescriptor(::mkostemp(m_new_name.data(), O_CLOEXEC));
    if (!m_file)
        Fail();
    try {
        if (exists)
            KeepOwner(old);
        if (::fchmod(m_file.Get(), exists ? old.st_mode & 07777 : NewMode()) != 0 ||
            ::cdb_make_start(&m_make, m_file.Get()) != 0)
            Fail();
    } catch (...) {
        ::unlink(m_new_name.c_str());
        throw;
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
    // The new name, too, is to outlive a crash of the machine.
    if (::fsync(m_directory.Get()) != 0)
        Fail();
}

void CdbWriter::Fail() const {
    throw std::runtime_error(m_name + ": " + SystemErrorText(errno));
}

// Only root gives files away; but as its group others may read the old file.
void CdbWriter::KeepOwner(const struct stat& old) const {
    constexpr uid_t SAME_OWNER = static_cast<uid_t>(-1);
    if (::fchown(m_file.Get(), old.st_uid, old.st_gid) != 0 &&
        ::fchown(m_file.Get(), SAME_OWNER, old.st_gid) != 0)
        throw std::runtime_error(m_name + ": cannot keep its group: " + SystemErrorText(errno));
}
