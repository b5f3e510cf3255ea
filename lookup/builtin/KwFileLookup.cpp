// SPDX-License-Identifier: MIT
#include "lookup/builtin/KwFileLookup.h"

#include "host/LogText.h"
#include "text/FileDescriptor.h"
#include "text/LineReader.h"
#include "text/LocaleBytes.h"
#include "text/SystemError.h"

#include <algorithm>
#include <cerrno>
#include <memory>
#include <stdexcept>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

std::invalid_argument CanNotLoad(const std::string& file_name, int error_number) {
    return std::invalid_argument("Can not load file '" + file_name +
                                 "': " + SystemErrorText(error_number));
}

FileDescriptor Open(const std::string& file_name) {
    // A name with a NUL inside names no file; the system would open what stands before it.
    if (file_name.find('\0') != std::string::npos)
        throw CanNotLoad(file_name, ENOENT);
    FileDescriptor file = FileDescriptor::OpenForReading(file_name);
    if (!file)
        throw CanNotLoad(file_name, errno);
    return file;
}

/// About how many records the file holds, so that the list need not grow while it is filled. Leaves
/// the file at its start.
std::size_t CountLines(int fd, const struct stat& status) {
    std::vector<char> block(128 * 1024);
    std::size_t lines = 1;
    std::ptrdiff_t got;
    while ((got = ReadBlock(fd, block.data(), block.size())) > 0)
        lines += static_cast<std::size_t>(std::count(block.data(), block.data() + got, '\n'));
    if (::lseek(fd, 0, SEEK_SET) != 0)
        return 0;
    // Where most lines can only be blank ones, their number says nothing about the records.
    constexpr std::size_t FEWEST_BYTES_A_LINE = 4;
    return lines <= static_cast<std::size_t>(status.st_size) / FEWEST_BYTES_A_LINE ? lines : 0;
}

} // namespace

KwIfLookup* KwFileLookup::Create(const std::string&) {
    return new KwFileLookup;
}

void KwFileLookup::Init(const std::string& file_name) {
    const FileDescriptor file = Open(file_name);
    struct stat status {};
    if (::fstat(file.Get(), &status) != 0)
        throw CanNotLoad(file_name, errno);
    if (S_ISDIR(status.st_mode))
        throw CanNotLoad(file_name, EISDIR);

    std::vector<std::string> records;
    if (S_ISREG(status.st_mode))
        records.reserve(CountLines(file.Get(), status));
    const LocaleBytes& bytes = LocaleBytes::Current();
    LineReader lines(file.Get());
    for (std::string_view line; lines.Next(line);) {
        const char* begin = line.data();
        const char* end = begin + line.size();
        bytes.Trim(begin, end);
        if (begin != end)
            records.emplace_back(begin, end);
    }

    const std::size_t count = records.size();
    std::string name = file_name;
    Replace(std::move(records));
    m_file_name.swap(name);

    const LogClass* log = GetLogPtr();
    if (lines.Error() != 0 && log && log->isWarnEnabled())
        LogText(*log, log4cxx::Level::LEVEL_WARN,
                "KwFileLookup: read error in " + file_name + " after " + std::to_string(count) +
                    " records: " + SystemErrorText(lines.Error()));
    if (log && log->isDebugEnabled())
        LogText(*log, log4cxx::Level::LEVEL_DEBUG,
                "KwFileLookup: loaded " + std::to_string(count) + " records from " + file_name +
                    " file.");
}

std::string KwFileLookup::GetDescription() const {
    return m_file_name;
}
