// SPDX-License-Identifier: MIT
#pragma once

#include "text/LineReader.h"
#include "tools/lists/Warnings.h"

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

namespace kwlookup {

/// The format of the text that a table is made from.
enum class SourceFormat {
    Plain,  ///< each line is a key, white space and a value, which may be missing
    Postmap ///< that of postmap(1): continued lines, and quotes around white space in keys
};

/// Adds a record, which begins in line `line`.
using AddRecord =
    std::function<void(std::string_view key, std::string_view value, std::size_t line)>;

/// Pass the records of the file `name` to `add`, in order. Blank lines, and lines that begin with
/// '#', are left out. Warns of lines that the other format reads differently, and of lines that are
/// not records. Throws std::runtime_error "NAME: REASON", "NAME:LINE: the record of line N is
/// longer than 16777216 bytes" for a record of many lines, and what `add` throws. `lines` limits
/// the length of a line.
void ReadTableSource(LineReader& lines, const std::string& name, SourceFormat format,
                     Warnings& warnings, const AddRecord& add);

} // namespace kwlookup
