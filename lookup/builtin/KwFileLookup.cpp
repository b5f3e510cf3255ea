// SPDX-License-Identifier: MIT
#include "lookup/builtin/KwFileLookup.h"

#include "host/LogText.h"
#include "objects/KwObjectHolder.h"
#include "text/LineReader.h"
#include "text/LocaleBytes.h"
#include "text/Platform.h"
#include "text/SystemError.h"
#include "text/TextFile.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <new>
#include <string_view>
#include <unistd.h>
#include <utility>
#include <vector>

namespace {

using namespace kwlookup;

/// Estimates the number of records from samples, so that the list need not grow while it is filled.
/// Does not move the file's position.
std::size_t EstimateRecords(int fd, off_t size, const LocaleBytes& bytes) {
    // 128 KiB from all over the file, as much as the reader reads at once.
    constexpr off_t SAMPLES = 16;
    std::vector<char> sample(8 * 1024);
    std::size_t sampled = 0, records = 0;
    for (off_t i = 0; i < SAMPLES; ++i) {
        const ssize_t got = ::pread(fd, sample.data(), sample.size(), size / SAMPLES * i);
        if (got <= 0)
            return 0;
        sampled += static_cast<std::size_t>(got);
        const char* line = sample.data();
        const char* const sample_end = line + got;
        for (const char* stop; (stop = std::find(line, sample_end, '\n')) != sample_end;) {
            const char* begin = std::exchange(line, stop + 1);
            bytes.Trim(begin, stop);
            records += begin != stop;
        }
    }
    constexpr double MARGIN = 1.03; // 3 % of spare room is cheaper than a copy when the list grows
    const double records_a_byte = static_cast<double>(records) / static_cast<double>(sampled);
    return static_cast<std::size_t>(records_a_byte * static_cast<double>(size) * MARGIN) + 1;
}

/// The records of a file, and the error number of the read that failed, or 0.
struct FileContents {
    std::vector<std::string> records;
    int error = 0;
};

FileContents ReadRecords(const std::string& file_name) {
    const FileDescriptor file = OpenTextFile(file_name);
    const std::uint64_t size = BytesToRead(file.Get());

    FileContents contents;
    const LocaleBytes& bytes = LocaleBytes::Current();
    if (size != UINT64_MAX) {
        contents.records.reserve(EstimateRecords(file.Get(), static_cast<off_t>(size), bytes));
        AdviseHugePages(contents.records.data(), contents.records.capacity() * sizeof(std::string));
    }
    LineReader lines(file.Get(), size);
    for (std::string_view line; lines.Next(line);) {
        const char* begin = line.data();
        const char* end = begin + line.size();
        bytes.Trim(begin, end);
        if (begin != end)
            contents.records.emplace_back(begin, end);
    }
    contents.error = lines.GetError();
    return contents;
}

/// Calls ReadRecords(). When a file does not fit into memory, the exception names it.
FileContents ReadWholeFile(const std::string& file_name) {
    try {
        return ReadRecords(file_name);
    } catch (const std::bad_alloc&) {
        throw CanNotLoad(file_name, ENOMEM);
    }
}

} // namespace

KwIfLookup* KwFileLookup::Create(const std::string&) {
    return new KwFileLookup;
}

void KwFileLookup::Init(const std::string& file_name) {
    FileContents contents = ReadWholeFile(file_name);

    // Make the texts first: when memory runs out, the old records stay.
    const std::string count = std::to_string(contents.records.size());
    const LogClass* log = GetLogPtr();
    std::string name = file_name, warning, message;
    if (contents.error != 0) {
        const std::string reason =
            " after " + count + " records: " + SystemErrorText(contents.error);
        if (log && log->isWarnEnabled())
            warning = "KwFileLookup: read error in " + file_name + reason;
        KwObjectHolder::CollectItemError("read error" + reason);
    }
    if (log && log->isDebugEnabled())
        message = "KwFileLookup: loaded " + count + " records from " + file_name + " file.";

    Replace(std::move(contents.records));
    m_file_name.swap(name);
    if (!warning.empty())
        LogText(*log, log4cxx::Level::LEVEL_WARN, warning);
    if (!message.empty())
        LogText(*log, log4cxx::Level::LEVEL_DEBUG, message);
}

std::string KwFileLookup::GetDescription() const {
    return m_file_name;
}
