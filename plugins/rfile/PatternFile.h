// SPDX-License-Identifier: MIT
#pragma once

#include "plugins/rfile/PatternList.h"

#include <memory>
#include <string>

namespace kwlookup {

/// Read the patterns of a file.
///
/// A line is a pattern, or `/pattern/flags result`, where `\/` stands for a slash in the pattern.
/// The flag i ignores letter case, c makes it count; m, s and x are those of PCRE2. White space (of
/// the global locale) at both ends of a line is ignored. Blank lines, and lines that begin with
/// '#', are skipped. `options`, those of Pcre2Pattern, are the defaults for the flags.
///
/// Throws std::invalid_argument "FILE:LINE: REASON" for the first invalid line. REASON is "no slash
/// ends the pattern", "unknown flag 'C'", or the message of Pcre2Pattern or ResultText. Throws
/// std::invalid_argument "Can not load file 'FILE': REASON" if the file cannot be opened, is a
/// directory, cannot be read to its end, or does not fit into memory.
/// Cost: about 40 us a line.
std::unique_ptr<const PatternList> ReadPatternFile(const std::string& name, unsigned options);

} // namespace kwlookup
