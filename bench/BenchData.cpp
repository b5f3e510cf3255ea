// SPDX-License-Identifier: MIT
#include "bench/BenchData.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>

namespace {

double Even(std::mt19937_64& engine) {
    return static_cast<double>(engine() >> 11) / 9007199254740992.0;
}

} // namespace

void Fail(std::string_view what) {
    std::fprintf(stderr, "bench: %.*s\n", static_cast<int>(what.size()), what.data());
    std::exit(1);
}

std::string DataFile(const std::string& name) {
    const char* directory = std::getenv("KWLOOKUP_BENCH_DATA");
    if (!directory)
        Fail("KWLOOKUP_BENCH_DATA does not name the data directory");
    return std::string(directory) + "/" + name;
}

std::size_t Random::UnevenBelow(std::size_t count) {
    const double even = Even(m_engine);
    return static_cast<std::size_t>(even * even * even * static_cast<double>(count));
}

AddressSource::AddressSource(unsigned seed) : m_random(seed) {
    for (int i = 0; i < 3000; ++i)
        m_names.push_back(Word(3, 9));
    for (int i = 0; i < 20000; ++i)
        m_labels.push_back(Word(3, 13));
    for (int i = 0; i < 20; ++i)
        m_common_domains.push_back(Domain());
}

std::string AddressSource::Word(std::size_t shortest, std::size_t longest) {
    const char* const consonants = "nrstlmdkbgvphcfjwz";
    const char* const vowels = "aeiou";
    const std::size_t size = shortest + m_random.Below(longest - shortest + 1);
    std::string word;
    while (word.size() < size) {
        word += consonants[m_random.UnevenBelow(18)];
        word += vowels[m_random.Below(5)];
    }
    word.resize(size);
    return word;
}

std::string AddressSource::Domain() {
    static const char* const ends[] = {".com", ".net", ".org", ".co.uk", ".de", ".example.com"};
    std::string domain;
    if (m_random.Percent(40))
        domain = m_labels[m_random.UnevenBelow(m_labels.size())] + ".";
    domain += m_labels[m_random.Below(m_labels.size())];
    domain += ends[m_random.UnevenBelow(6)];
    if (domain.size() < 8)
        domain.insert(0, "mail.");
    if (domain.size() > 30)
        domain.erase(0, domain.size() - 30);
    if (domain.front() == '.')
        domain.front() = 'x';
    return domain;
}

std::string AddressSource::Next() {
    std::string address = m_names[m_random.UnevenBelow(m_names.size())];
    if (m_random.Percent(65))
        address += "._-"[m_random.UnevenBelow(3)] + m_names[m_random.UnevenBelow(m_names.size())];
    if (m_random.Percent(35))
        address += std::to_string(m_random.Below(m_random.Percent(50) ? 100 : 10000));
    if (address.size() > 20)
        address.resize(20);
    address += '@';
    return address += m_random.Percent(30) ? m_common_domains[m_random.UnevenBelow(20)] : Domain();
}

std::vector<std::string> ReadLines(const std::string& name) {
    std::ifstream file(DataFile(name));
    std::vector<std::string> lines;
    lines.reserve(LIST_SIZE);
    for (std::string line; std::getline(file, line);)
        lines.emplace_back(line);
    if (lines.empty())
        Fail("no lines in " + DataFile(name));
    return lines;
}

Keys Keys::Read(bool capitals) {
    Keys keys;
    Random random(4);
    for (const std::string& line : ReadLines("keys-with-truth")) {
        keys.in_list.push_back(line[0] == '1');
        std::string& text = keys.texts.emplace_back(line, 2);
        if (capitals && random.Percent(30))
            for (char& c : text)
                if (c >= 'a' && c <= 'z' && random.Percent(50))
                    c = static_cast<char>(c - 'a' + 'A');
    }
    return keys;
}
