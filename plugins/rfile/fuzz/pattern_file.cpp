// SPDX-License-Identifier: MIT
// Loads a pattern file, searches it for a text, and compares the answer with trying its patterns
// one by one. The input is the text, a zero byte, and the file.
#include "fuzz/Require.h"
#include "plugins/rfile/PatternFile.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

using namespace kwlookup;

namespace {

using Rule = PatternList::Rule;

/// The first rule that matches, or null. Throws std::runtime_error if a rule before it fails.
const Rule* FindOneByOne(const PatternList& list, const std::string& text,
                         const PatternLimits& limits, Pcre2Pattern::Groups* groups) {
    for (const Rule& rule : list.GetRules())
        if (rule.pattern.Search(text, limits, groups))
            return &rule;
    return nullptr;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const int file = ::memfd_create("patterns", MFD_CLOEXEC);
    static const std::string name = "/proc/self/fd/" + std::to_string(file);
    const std::uint8_t* zero = std::find(data, data + size, 0);
    const std::string text(data, zero);
    const std::string bytes(zero == data + size ? zero : zero + 1, data + size);
    Require(::ftruncate(file, 0) == 0);
    Require(::pwrite(file, bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size()));

    PatternLimits limits;
    limits.match = 1000;
    try {
        const auto list = ReadPatternFile(name, Pcre2Pattern::IgnoreCase);
        Pcre2Pattern::Groups groups, loop_groups;
        const Rule* expected = FindOneByOne(*list, text, limits, &loop_groups);
        Require(list->Find(text, limits, &groups) == expected);
        if (expected) {
            Require(groups == loop_groups);
            expected->result.Expand(groups);
        }
    } catch (const std::invalid_argument& error) {
        const std::string reason = error.what();
        Require(reason.compare(0, name.size() + 1, name + ":") == 0);
    } catch (const std::runtime_error&) {
        // A limit was reached.
    }
    return 0;
}
