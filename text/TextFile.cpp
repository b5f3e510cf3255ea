// SPDX-License-Identifier: MIT
#include "text/TextFile.h"

#include "text/SystemError.h"

#include <cerrno>
#include <sys/stat.h>

FileDescriptor OpenTextFile(const std::string& name) {
    // A name with a NUL inside names no file; the system would open what stands before it.
    if (name.find('\0') != std::string::npos)
        throw CanNotLoad(name, ENOENT);
    FileDescriptor file = FileDescriptor::OpenForReading(name);
    struct stat status {};
    if (!file || ::fstat(file.Get(), &status) != 0)
        throw CanNotLoad(name, errno);
    if (S_ISDIR(status.st_mode))
        throw CanNotLoad(name, EISDIR);
    return file;
}

std::invalid_argument CanNotLoad(const std::string& name, int error_number) {
    return std::invalid_argument("Can not load file '" + name +
                                 "': " + SystemErrorText(error_number));
}

std::string_view WithoutByteOrderMark(std::string_view first_line) {
    constexpr std::string_view MARK = "\xef\xbb\xbf";
    if (first_line.substr(0, MARK.size()) == MARK)
        first_line.remove_prefix(MARK.size());
    return first_line;
}
