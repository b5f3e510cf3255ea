// SPDX-License-Identifier: MIT
#include "BuildCommand.h"

#include "CdbWriter.h"
#include "text/AsciiLower.h"
#include "text/FileDescriptor.h"
#include "text/LineReader.h"
#include "text/LocaleBytes.h"
#include "text/SystemError.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <iostream>
#include <limits>
#include <stdexcept>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace {

/// Tells a user at a terminal how far it is, until it is destroyed.
class Progress {
public:
    ~Progress() {
        if (m_shown)
            std::fputs("\r\x1b[K", stderr);
    }

    void Show(std::size_t records) {
        constexpr std::size_t STEP = 100000;
        if (!m_on_terminal || records % STEP != 0)
            return;
        std::fprintf(stderr, "\r%zu records", records);
        m_shown = true;
    }

private:
    const bool m_on_terminal = ::isatty(STDERR_FILENO) == 1;
    bool m_shown = false;
};

bool IsSameFile(int fd, const std::string& name) {
    struct stat open, named;
    return ::fstat(fd, &open) == 0 && ::stat(name.c_str(), &named) == 0 &&
           open.st_dev == named.st_dev && open.st_ino == named.st_ino;
}

/// Returns the number of records.
std::size_t AddRecords(int fd, const BuildOptions& options, CdbWriter& writer) {
    LineReader lines(fd);
    Progress progress;
    std::size_t records = 0;
    std::string_view line;
    std::string key;
    while (lines.Next(line)) {
        const LocaleBytes& bytes = LocaleBytes::Current();
        const char* begin = line.data();
        const char* end = begin + line.size();
        bytes.Trim(begin, end);
        if (begin == end || *begin == '#')
            continue;
        if (static_cast<std::size_t>(end - begin) > std::numeric_limits<std::int32_t>::max())
            throw std::runtime_error(options.input + ":" + std::to_string(lines.LineNumber()) +
                                     ": the line is too long");
        const char* const key_end =
            std::find_if(begin, end, [&bytes](char c) { return bytes.IsSpace(c); });
        key.assign(begin, key_end);
        if (!options.keep_case)
            std::transform(key.begin(), key.end(), key.begin(), AsciiLower);
        begin = std::find_if(key_end, end, [&bytes](char c) { return !bytes.IsSpace(c); });
        writer.Add(key, {begin, static_cast<std::size_t>(end - begin)});
        progress.Show(++records);
    }
    if (lines.Error() != 0)
        throw std::runtime_error(options.input + ": " + SystemErrorText(lines.Error()));
    return records;
}

} // namespace

void RunBuildCommand(const BuildOptions& options) {
    FileDescriptor file;
    int fd = STDIN_FILENO;
    if (options.input != "-") {
        file = FileDescriptor::OpenForReading(options.input);
        fd = file.Get();
        if (!file)
            throw std::runtime_error(options.input + ": " + SystemErrorText(errno));
    }
    if (IsSameFile(fd, options.output))
        throw std::runtime_error(options.output + ": is the file to read");
    std::signal(SIGXFSZ, SIG_IGN); // a file that gets too large is an error like others
    CdbWriter writer(options.output);
    const std::size_t records = AddRecords(fd, options, writer);
    writer.Finish();
    std::cout << options.output << ": " << records << (records == 1 ? " record\n" : " records\n");
}
