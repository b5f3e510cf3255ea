// SPDX-License-Identifier: MIT
// Searches a file of any bytes for the keys that may be in it. The input is a key, a zero byte, and
// the file.
#include "fuzz/Require.h"
#include "plugins/berkeley/BerkeleyDatabase.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const int file = ::memfd_create("berkeley", MFD_CLOEXEC);
    static const std::string name = "/proc/self/fd/" + std::to_string(file);
    const std::uint8_t* zero = std::find(data, data + size, 0);
    const std::string key(data, zero);
    const std::string bytes(zero == data + size ? zero : zero + 1, data + size);
    Require(::ftruncate(file, 0) == 0);
    Require(::pwrite(file, bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size()));
    try {
        BerkeleyDatabase database(name);
        Require(database.IsCurrent());
        std::string first, all;
        Values one(&first), every(&all), none(nullptr);
        const bool found = database.Find(key, false, one);
        Require(database.Find(key, false, none) == found);
        Require(database.Find(key, true, every) == found);
        // Empty values add nothing, so the first value may be missing from the front.
        Require(all.compare(0, first.size(), first) == 0);
        Require(found || all.empty());
    } catch (const std::runtime_error& error) {
        const std::string reason = error.what();
        Require(reason == name + ": not a whole Berkeley DB file" ||
                reason == name + ": neither a hash nor a btree" ||
                reason == name + ": holds several databases");
    }
    return 0;
}
