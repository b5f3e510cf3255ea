// SPDX-License-Identifier: MIT
#pragma once

#include "plugins/rfile/PatternList.h"

#include <memory>
#include <string>

namespace kwlookup {

/// Reads the patterns of a file.
///
/// A line is a pattern, or `/pattern/flags result`, where `\/` stands for a slash in the pattern.
/// Flags: i ignore letter case, c regard it, m, s, x as PCRE2 has them. White space at both ends of
/// a line does not count (global locale); blank lines, and lines that begin with '#', are skipped.
/// `options`, those of Pcre2Pattern, are for patterns that do not say.
///
/// Throws std::invalid_argument "FILE:LINE: REASON" for the first bad line, where REASON is "no
/// slash ends the pattern", "unknown flag 'C'", or what Pcre2Pattern and ResultText say; "Can not
/// load file 'FILE': REASON" when it cannot be opened, is a directory or cannot be read to its end;
/// and std::bad_alloc.
/// Cost: about 40 us a line.
std::unique_ptr<const PatternList> ReadPatternFile(const std::string& name, unsigned options);

} // namespace kwlookup
