// SPDX-License-Identifier: MIT
#include "text/TextFile.h"

#include "text/SystemError.h"

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

namespace kwlookup {

namespace {

std::invalid_argument CanNotLoad(const std::string& name, const std::string& reason) {
    return std::invalid_argument("Can not load file '" + name + "': " + reason);
}

/// Returns true when `name`, or a link that it leads to, names a descriptor of this process.
bool NamesOwnDescriptor(const std::filesystem::path& name) {
    constexpr int MAX_LINKS = 40; // the system's own limit
    const std::filesystem::path table = "/proc/" + std::to_string(::getpid()) + "/fd";
    std::filesystem::path path = name;
    std::error_code error;
    for (int i = 0; i < MAX_LINKS; ++i) {
        const auto directory = std::filesystem::canonical(
            path.has_parent_path() ? path.parent_path() : std::filesystem::path("."), error);
        if (error)
            return false;
        if (directory == table)
            return true;
        const auto target = std::filesystem::read_symlink(path, error);
        if (error)
            return false;
        path = directory / target;
    }
    return false;
}

bool IsNullDevice(const struct stat& status) {
    return S_ISCHR(status.st_mode) && status.st_rdev == makedev(1, 3);
}

/// Opens `name`. Throws std::runtime_error with the reason alone.
FileDescriptor Open(const std::string& name) {
    // No file has a NUL in its name. The system would open the file named by the text before it.
    if (name.find('\0') != std::string::npos)
        throw std::runtime_error(SystemErrorText(ENOENT));
    FileDescriptor file = FileDescriptor::OpenForReading(name, O_NONBLOCK);
    struct stat status {};
    if (!file || ::fstat(file.Get(), &status) != 0)
        throw std::runtime_error(SystemErrorText(errno));
    if (S_ISREG(status.st_mode) || IsNullDevice(status))
        return file;
    if (S_ISDIR(status.st_mode))
        throw std::runtime_error(SystemErrorText(EISDIR));
    if (!S_ISFIFO(status.st_mode) || !NamesOwnDescriptor(name))
        throw std::runtime_error("not a regular file");
    // The pipe has or had a writer, so reads may block from here on.
    if (::fcntl(file.Get(), F_SETFL, O_RDONLY) != 0)
        throw std::runtime_error(SystemErrorText(errno));
    return file;
}

} // namespace

FileDescriptor OpenInput(const std::string& name) {
    try {
        return Open(name);
    } catch (const std::runtime_error& error) {
        throw std::runtime_error(name + ": " + error.what());
    }
}

std::uint64_t BytesToRead(int fd) {
    struct stat before {
    }, after{};
    char byte;
    if (::fstat(fd, &before) != 0 || !S_ISREG(before.st_mode))
        return UINT64_MAX;
    if (before.st_size == 0 && ::pread(fd, &byte, 1, 0) != 0 && ::fstat(fd, &after) == 0 &&
        after.st_size == 0)
        return UINT64_MAX;
    return static_cast<std::uint64_t>(before.st_size);
}

FileDescriptor OpenTextFile(const std::string& name) {
    try {
        return Open(name);
    } catch (const std::runtime_error& error) {
        throw CanNotLoad(name, error.what());
    }
}

std::invalid_argument CanNotLoad(const std::string& name, int error_number) {
    return CanNotLoad(name, SystemErrorText(error_number));
}

std::string_view WithoutByteOrderMark(std::string_view first_line) {
    constexpr std::string_view MARK = "\xef\xbb\xbf";
    if (first_line.substr(0, MARK.size()) == MARK)
        first_line.remove_prefix(MARK.size());
    return first_line;
}

} // namespace kwlookup
