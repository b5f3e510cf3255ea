// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <random>
#include <string>
#include <string_view>
#include <vector>

/// The number of strings in the list, and of keys asked of it.
constexpr std::size_t LIST_SIZE = 1000000;

/// The place of a file of the data directory, which the environment names as KWLOOKUP_BENCH_DATA.
std::string DataFile(const std::string& name);

/// A random source of this project's own, as the standard distributions may differ by library.
class Random {
public:
    explicit Random(unsigned seed) : m_engine(seed) {}

    /// Evenly from 0 to `count` - 1.
    std::size_t Below(std::size_t count) { return m_engine() % count; }

    /// From 0 to `count` - 1, the low numbers much more often, as names are.
    std::size_t UnevenBelow(std::size_t count);

    bool Percent(std::size_t percent) { return Below(100) < percent; }

private:
    std::mt19937_64 m_engine;
};

/// Draws mail addresses: a local part of 3 to 20 bytes, a domain of 8 to 30, 30 in all on average;
/// 30 % of them at 20 common domains.
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

/// The lines of a file of the data directory. Ends the program when it cannot be read.
std::vector<std::string> ReadLines(const std::string& name);

/// What is asked of the list, in random order: half of the keys are in it.
struct Keys {
    std::vector<std::string> texts;
    std::vector<char> in_list; ///< of each key, 1 or 0

    /// `capitals`: three keys in ten are written with capitals.
    static Keys Read(bool capitals);
};

[[noreturn]] void Fail(std::string_view what);
