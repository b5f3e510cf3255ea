// SPDX-License-Identifier: MIT
// Reads the source text of a table in both formats.
#include "TableSource.h"
#include "fuzz/Require.h"

#include <cstddef>
#include <cstdint>
#include <sys/mman.h>
#include <unistd.h>

using namespace kwlookup;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const int file = ::memfd_create("table", MFD_CLOEXEC);
    static const LogClass log("");
    Require(::ftruncate(file, 0) == 0);
    Require(::pwrite(file, data, size, 0) == static_cast<ssize_t>(size));
    constexpr char SPACE[] = " \t\n\v\f\r";
    for (const SourceFormat format : {SourceFormat::Plain, SourceFormat::Postmap}) {
        Require(::lseek(file, 0, SEEK_SET) == 0);
        LineReader lines(file);
        Warnings warnings(Warnings::Mode::Off, log);
        std::size_t last = 0;
        ReadTableSource(lines, "table", format, warnings,
                        [&](std::string_view key, std::string_view value, std::size_t line) {
                            Require(line > last);
                            last = line;
                            Require(!key.empty());
                            Require(value.empty() ||
                                    (value.find_first_of(SPACE) != 0 &&
                                     value.find_last_of(SPACE) != value.size() - 1));
                            if (format == SourceFormat::Plain)
                                Require(key.find_first_of(SPACE) == std::string_view::npos);
                            else
                                Require(!value.empty() && key.find('\0') == std::string_view::npos);
                        });
    }
    return 0;
}
