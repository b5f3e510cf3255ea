// SPDX-License-Identifier: MIT
// Loads a file, and compares with std::getline and a trim.
#include "fuzz/Require.h"
#include "lookup/builtin/KwFileLookup.h"

#include <cstddef>
#include <cstdint>
#include <sstream>
#include <string>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>

namespace {

using namespace kwlookup;
using Strings = std::vector<std::string>;

Strings Records(const std::string& bytes) {
    Strings records;
    std::istringstream in(bytes);
    for (std::string line; std::getline(in, line);) {
        const std::size_t begin = line.find_first_not_of(" \t\r\v\f");
        if (begin != std::string::npos)
            records.push_back(line.substr(begin, line.find_last_not_of(" \t\r\v\f") + 1 - begin));
    }
    return records;
}

class Collector : public KwLookupFinder {
public:
    explicit Collector(const std::string& text) : m_text(text) {}
    bool Match(const std::string& value) const override {
        values.push_back(value);
        return false;
    }
    TextRange GetRequest() const override { return TextRange(m_text.begin(), m_text.end()); }

    mutable Strings values;

private:
    std::string m_text;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const int file = ::memfd_create("list", MFD_CLOEXEC);
    static const std::string name = "/proc/self/fd/" + std::to_string(file);
    Require(::ftruncate(file, 0) == 0);
    Require(::pwrite(file, data, size, 0) == static_cast<ssize_t>(size));

    KwFileLookup list;
    list.Init(name);
    Require(list.GetDescription() == name);
    const Strings expected = Records(std::string(data, data + size));
    const Collector all("");
    std::string res;
    Require(!list.Find(all, &res, 0, nullptr));
    Require(all.values == expected);

    // If case is ignored, the sort and the search have the same order, so that all are found.
    for (const std::string& record : expected) {
        std::string matched;
        Require(list.Find(Collector(record), nullptr, FIND_EXACT | FIND_NOCASE, &matched));
        Require(matched.size() == record.size());
    }
    return 0;
}
