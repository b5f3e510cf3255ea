// SPDX-License-Identifier: MIT
#include "NewFile.h"

#include "text/SystemError.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <stdexcept>
#include <string_view>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace kwlookup {

namespace {

/// The file that `name` stands for after following links, whether it exists or not.
std::string FollowLinks(std::filesystem::path name) {
    constexpr int MAX_LINKS = 40; // the system's own limit
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

/// The suffix of a new file, and the end of it that mkostemp(3) replaces.
constexpr std::string_view NEW_MARK = ".kwlookup-";
constexpr std::string_view NEW_LETTERS = "XXXXXX";

bool IsNewFileOf(const std::string& name, const std::string& file) {
    const std::string start =
        std::filesystem::path(name).filename().string() + std::string(NEW_MARK);
    return file.compare(0, start.size(), start) == 0 &&
           file.size() == start.size() + NEW_LETTERS.size();
}

/// Remove `name` if it is a file of this user that no process has locked.
void RemoveUnlocked(const std::string& name) {
    const FileDescriptor file(::open(name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    struct stat status;
    if (file && ::fstat(file.Get(), &status) == 0 && S_ISREG(status.st_mode) &&
        status.st_uid == ::geteuid() && ::flock(file.Get(), LOCK_EX | LOCK_NB) == 0)
        ::unlink(name.c_str());
}

/// Remove the new files that killed processes left beside `name`.
void RemoveLeftovers(const std::string& name) {
    std::error_code error; // ignored: files that cannot be examined stay
    for (std::filesystem::directory_iterator entry(DirectoryOf(name), error), end;
         !error && entry != end; entry.increment(error))
        if (IsNewFileOf(name, entry->path().filename().string()))
            RemoveUnlocked(entry->path().string());
}

/// The mode of a file that did not exist before.
mode_t NewMode() {
    const mode_t mask = ::umask(0);
    ::umask(mask);
    return 0666 & ~mask;
}

} // namespace

NewFile::NewFile(const std::string& name)
    : m_name(FollowLinks(name)),
      m_new_name(m_name + std::string(NEW_MARK) + std::string(NEW_LETTERS)),
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
    RemoveLeftovers(m_name);
    MakeNewFile();
    try {
        if (exists)
            KeepOwner(old);
        if (::fchmod(m_file.Get(), exists ? old.st_mode & 07777 : NewMode()) != 0)
            Fail();
    } catch (...) {
        ::unlink(m_new_name.c_str());
        throw;
    }
}

NewFile::~NewFile() {
    if (!m_new_name.empty())
        ::unlink(m_new_name.c_str());
}

void NewFile::Finish() {
    if (::fsync(m_file.Get()) != 0 || std::rename(m_new_name.c_str(), m_name.c_str()) != 0)
        Fail();
    m_new_name.clear();
    // The new name must survive a crash of the machine too.
    if (::fsync(m_directory.Get()) != 0)
        Fail();
}

// Another process may remove the file as a leftover before it is locked.
void NewFile::MakeNewFile() {
    struct stat status;
    do {
        // In place, because a signal handler may read the name at any time.
        m_new_name.replace(m_new_name.size() - NEW_LETTERS.size(), NEW_LETTERS.size(), NEW_LETTERS);
        m_file = FileDescriptor(::mkostemp(m_new_name.data(), O_CLOEXEC));
        if (!m_file)
            Fail();
        ::flock(m_file.Get(), LOCK_EX); // without support for locks, nothing is removed either
    } while (::fstat(m_file.Get(), &status) == 0 && status.st_nlink == 0);
}

void NewFile::Fail() const {
    throw std::runtime_error(m_name + ": " + SystemErrorText(errno));
}

// Only root can change the owner, so a failure is ignored. The group matters, because its members
// may read the old file.
void NewFile::KeepOwner(const struct stat& old) const {
    constexpr uid_t SAME_OWNER = static_cast<uid_t>(-1);
    if (::fchown(m_file.Get(), old.st_uid, old.st_gid) != 0 &&
        ::fchown(m_file.Get(), SAME_OWNER, old.st_gid) != 0)
        throw std::runtime_error(m_name + ": cannot keep its group: " + SystemErrorText(errno));
}

} // namespace kwlookup
