// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>

namespace kwlookup {

/// What a search may cost: `time` with all patterns of a file together, the others with each of
/// them. The numbers here are the defaults of the parameters.
struct PatternLimits {
    int match = 10000;            ///< MatchLimit: steps of PCRE2 from each start in the text
    int depth = 10000;            ///< DepthLimit: nested steps, where the pattern is interpreted
    long long heap = 1024 * 1024; ///< HeapLimit: bytes of memory
    long long length = 512;       ///< MaxLength: bytes of the text
    int time = 50;                ///< SearchTime: milliseconds

    bool Allows(std::size_t bytes) const { return bytes <= static_cast<std::size_t>(length); }

    /// What is wrong with a text of so many bytes, which is not allowed.
    std::string TooLong(std::size_t bytes) const {
        return "the text has " + std::to_string(bytes) + " bytes; MaxLength is " +
               std::to_string(length);
    }
};

} // namespace kwlookup
