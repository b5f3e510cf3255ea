// SPDX-License-Identifier: MIT
#include "lookup/builtin/SortedStrings.h"

#include <exception>
#include <limits>
#include <stdexcept>

namespace kwlookup {

SortedStrings::SortedStrings(const std::vector<std::string>& strings, const LocaleBytes* nocase)
    : m_strings(strings), m_nocase(nocase != nullptr) {
    if (m_strings.size() >= std::numeric_limits<std::uint32_t>::max())
        throw std::length_error("too many strings to sort");
    if (nocase) {
        m_upper = nocase->GetUpperTable();
        m_ascii_upper = nocase->UpperIsAscii();
    }
    MakeIndex(nocase);
    if (!m_index)
        GetOrder(); // without an index every search needs it
}

void SortedStrings::MakeIndex(const LocaleBytes* nocase) {
    const auto make = [&](const SortedOrder* order) {
        m_index.reset(); // frees memory for the next one
        try {
            m_index = std::make_unique<TextIndex>(m_strings, nocase, order);
        } catch (const std::exception&) { // a binary search needs no index
        }
    };
    make(nullptr);
    // When equal strings differ in their bytes, the sort decides which of them is found.
    if (m_index && m_index->IsAmbiguous())
        make(&GetOrder());
    if (m_index && (m_index->IsUnfit() || !m_index->IsAscii()))
        m_index.reset();
}

std::string_view SortedStrings::Find(std::string_view text, const FetchedKeys* fetched) const {
    return m_index && !m_nocase ? m_index->Find(text, fetched) : GetOrder().Find(text);
}

std::string_view SortedStrings::FindNoCase(std::string_view text, const LocaleBytes& bytes,
                                           const FetchedKeys* fetched) const {
    if (m_index && m_nocase && HasUpperOf(bytes))
        return m_index->Find(text, fetched);
    return GetOrder().FindNoCase(text, bytes.GetUpperTable());
}

void SortedStrings::Fetch(const TextIndex::Question* questions, std::size_t count,
                          const LocaleBytes* nocase) const {
    if (m_index && m_nocase == (nocase != nullptr) && (!nocase || HasUpperOf(*nocase)))
        m_index->Fetch(questions, count);
}

/// Returns true when the sort has used the upper-case forms of `bytes`.
bool SortedStrings::HasUpperOf(const LocaleBytes& bytes) const {
    return m_ascii_upper ? bytes.UpperIsAscii() : bytes.GetUpperTable() == m_upper;
}

const SortedOrder& SortedStrings::GetOrder() const {
    return m_order.GetOrMake([this] {
        return std::make_unique<const SortedOrder>(m_strings, m_nocase ? &m_upper : nullptr);
    });
}

std::vector<std::string> SortedStrings::TakeInOrder(std::vector<std::string>& strings) const {
    const SortedOrder::Positions& order = GetOrder().Get();
    std::vector<std::string> sorted;
    sorted.reserve(order.size() + 1);
    for (const std::uint32_t position : order)
        sorted.push_back(std::move(strings[position]));
    return sorted;
}

} // namespace kwlookup
