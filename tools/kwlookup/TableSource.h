// SPDX-License-Identifier: MIT
#pragma once

#include "Warnings.h"
#include "text/LineReader.h"

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

namespace kwlookup {

/// How the text is written that a table is made of.
enum class SourceFormat {
    Plain,  ///< a line is a key, white space and a value, which may be missing
    Postmap ///< as postmap(1) reads it: continued lines, and quotes around white space in keys
};

/// A record of such a text. `line` is the one that it begins in.
using AddRecord =
    std::function<void(std::string_view key, std::string_view value, std::size_t line)>;

/// Hands the records of the file `name` to `add`, in order. Blank lines, and lines that begin with
/// '#', are left out; warns of lines that another format reads in another way, and of lines that
/// are no records. Throws std::runtime_error "NAME: REASON", also for a line over 2 GiB, and what
/// `add` throws.
void ReadTableSource(LineReader& lines, const std::string& name, SourceFormat format,
                     Warnings& warnings, const AddRecord& add);

} // namespace kwlookup
