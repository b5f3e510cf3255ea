// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <random>
#include <string>
#include <string_view>
#include <vector>

/// The number of strings in the list, and of keys to search for.
constexpr std::size_t LIST_SIZE = 1000000;

/// The path of a file in the data directory, which is the environment variable KWLOOKUP_BENCH_DATA.
std::string DataFile(const std::string& name);

/// Random numbers without the standard distributions, which differ between libraries.
class Random {
public:
    explicit Random(unsigned seed) : m_engine(seed) {}

    /// A number from 0 to `count` - 1, evenly distributed.
    std::size_t Below(std::size_t count) { return m_engine() % count; }

    /// A number from 0 to `count` - 1. Low numbers are much more frequent, as common names are.
    std::size_t UnevenBelow(std::size_t count);

    bool Percent(std::size_t percent) { return Below(100) < percent; }

private:
    std::mt19937_64 m_engine;
};

/// Makes random mail addresses of 30 bytes on average: a local part of 3 to 20 bytes and a domain
/// of 8 to 30. 30 % of them are in 20 common domains.
class AddressSource {
public:
    explicit AddressSource(unsigned seed);
    std::string Next();

private:
    std::string Word(std::size_t shortest, std::size_t longest);
    std::string Domain();

    Random m_random;
    std::vector<std::string> m_names;
    std::vector<std::string> m_labels;
    std::vector<std::string> m_common_domains;
};

/// The lines of a file in the data directory. Ends the program if it cannot be read.
std::vector<std::string> ReadLines(const std::string& name);

/// The keys to search for, in random order. Half of them are in the list.
struct Keys {
    std::vector<std::string> texts;
    std::vector<char> in_list; ///< of each key, 1 or 0

    /// With `capitals`, three keys in ten have capital letters.
    static Keys Read(bool capitals);
};

[[noreturn]] void Fail(std::string_view what);
