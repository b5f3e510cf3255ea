// SPDX-License-Identifier: MIT
#include "BuildCommand.h"

#include "CdbWriter.h"
#include "ExitStatus.h"
#include "Tell.h"
#include "text/FileDescriptor.h"
#include "text/LineReader.h"
#include "text/LocaleBytes.h"
#include "text/SystemError.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <iostream>
#include <limits>
#include <string_view>
#include <unistd.h>

namespace {

/// Tells a user at a terminal how far it is.
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

/// A to Z only, as the plug-ins do it with the texts that they search.
void LowerCase(std::string& key) {
    for (char& c : key)
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
}

} // namespace

int RunBuildCommand(const BuildOptions& options, const LogClass& log) {
    FileDescriptor file;
    int fd = STDIN_FILENO;
    if (options.input != "-") {
        file = FileDescriptor::OpenForReading(options.input);
        fd = file.Get();
        if (!file) {
            TellError(log, options.input + ": " + SystemErrorText(errno));
            return EXIT_UNAVAILABLE;
        }
    }

    CdbWriter writer(options.output);
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
        if (static_cast<std::size_t>(end - begin) > std::numeric_limits<std::int32_t>::max()) {
            TellError(log, options.input + ":" + std::to_string(lines.LineNumber()) +
                               ": the line is too long");
            return EXIT_UNAVAILABLE;
        }
        const char* const key_end =
            std::find_if(begin, end, [&bytes](char c) { return bytes.IsSpace(c); });
        key.assign(begin, key_end);
        if (!options.keep_case)
            LowerCase(key);
        begin = std::find_if(key_end, end, [&bytes](char c) { return !bytes.IsSpace(c); });
        writer.Add(key, {begin, static_cast<std::size_t>(end - begin)});
        progress.Show(++records);
    }
    if (lines.Error() != 0) {
        TellError(log, options.input + ": " + SystemErrorText(lines.Error()));
        return EXIT_UNAVAILABLE;
    }
    writer.Finish();
    std::cout << options.output << ": " << records << (records == 1 ? " record\n" : " records\n");
    return EXIT_FOUND;
}
