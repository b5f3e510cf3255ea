// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>

namespace kwlookup {

/// What a search may cost. `time` is for all patterns of a file together, the other limits are for
/// each pattern. The values here are the defaults of the parameters.
struct PatternLimits {
    int match = 10000;            ///< MatchLimit: PCRE2's steps from each starting position
    int depth = 10000;            ///< DepthLimit: nested steps, if the pattern is interpreted
    long long heap = 1024 * 1024; ///< HeapLimit: bytes of memory
    long long length = 512;       ///< MaxLength: bytes of the text
    int time = 50;                ///< SearchTime: milliseconds

    bool Allows(std::size_t bytes) const { return bytes <= static_cast<std::size_t>(length); }

    /// The error message for a text of so many bytes.
    std::string TooLong(std::size_t bytes) const {
        return "the text has " + std::to_string(bytes) + " bytes; MaxLength is " +
               std::to_string(length);
    }
};

} // namespace kwlookup
