// SPDX-License-Identifier: MIT
#pragma once

#include "fuzz/Require.h"
#include "lookup/config/Values.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

/// Search a file for a key. The input is the key, a zero byte, and the file. `is_reason(text)` is
/// true if `Database` may refuse a file with that text after the name of the file.
template <typename Database, typename IsReason>
void SearchKeyFile(const std::uint8_t* data, std::size_t size, IsReason is_reason) {
    static const int file = ::memfd_create("table", MFD_CLOEXEC);
    static const std::string name = "/proc/self/fd/" + std::to_string(file);
    const std::uint8_t* zero = std::find(data, data + size, 0);
    const std::string key(data, zero);
    const std::string bytes(zero == data + size ? zero : zero + 1, data + size);
    Require(::ftruncate(file, 0) == 0);
    Require(::pwrite(file, bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size()));
    try {
        Database database(name);
        Require(database.IsCurrent());
        std::string first, all;
        kwlookup::Values one(&first), every(&all), none(nullptr);
        const bool found = database.Find(key, false, one);
        Require(database.Find(key, false, none) == found);
        Require(database.Find(key, true, none) == found);
        Require(database.Find(key, true, every) == found);
        // Empty values are left out, so `all` begins with the first value unless that is empty.
        Require(all.compare(0, first.size(), first) == 0);
        Require(found || all.empty());
    } catch (const std::runtime_error& error) {
        const std::string text = error.what();
        const std::string before = name + ": ";
        Require(text.compare(0, before.size(), before) == 0);
        Require(is_reason(text.substr(before.size())));
    }
}
