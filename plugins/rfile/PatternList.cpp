// SPDX-License-Identifier: MIT
#include "plugins/rfile/PatternList.h"

#include "text/AsciiLower.h"

#include <algorithm>
#include <stdexcept>
#include <string>
#include <utility>

namespace kwlookup {

namespace {

/// Buffers of a thread's searches, which keep their memory.
struct Scratch {
    std::string lower;
    std::vector<std::uint32_t> candidates;
};

void LowerInto(std::string& lower, std::string_view text) {
    lower.resize(text.size() + LiteralIndex::PADDING);
    std::transform(text.begin(), text.end(), lower.begin(), AsciiLower);
}

} // namespace

void PatternList::Add(std::string_view pattern, unsigned options, std::string_view result,
                      std::size_t line) {
    const auto number = static_cast<std::uint32_t>(m_rules.size());
    m_rules.emplace_back(pattern, options, result, line);
    std::vector<LiteralSet> literals;
    if (!(options & Pcre2Pattern::WhiteSpace))
        literals = RequiredLiterals(pattern);
    if (literals.empty())
        m_unfiltered.push_back(number);
    else
        m_index.Add(number, std::move(literals));
}

void PatternList::Finish() {
    m_index.Build();
    for (const std::uint32_t number : m_unfiltered)
        m_rules[number].pattern.MakeMachineCode();
}

const PatternList::Rule* PatternList::Find(std::string_view text, const PatternLimits& limits,
                                           Pcre2Pattern::Groups* groups) const {
    static thread_local Scratch scratch;
    LowerInto(scratch.lower, text);
    m_index.Search(std::string_view(scratch.lower.data(), text.size()), scratch.candidates);

    for (const std::uint32_t number : scratch.candidates)
        m_rules[number].pattern.MakeMachineCode();

    const SearchTime time(limits.time);
    auto candidate = scratch.candidates.cbegin();
    auto unfiltered = m_unfiltered.cbegin();
    while (candidate != scratch.candidates.cend() || unfiltered != m_unfiltered.cend()) {
        const bool take_candidate =
            unfiltered == m_unfiltered.cend() ||
            (candidate != scratch.candidates.cend() && *candidate < *unfiltered);
        const Rule& rule = m_rules[take_candidate ? *candidate++ : *unfiltered++];
        try {
            if (rule.pattern.Search(text, limits, groups, time))
                return &rule;
        } catch (const std::runtime_error& error) {
            throw std::runtime_error(Place(rule.line) + error.what());
        }
    }
    return nullptr;
}

} // namespace kwlookup
