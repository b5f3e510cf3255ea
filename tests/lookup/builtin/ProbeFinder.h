// SPDX-License-Identifier: MIT
#pragma once

#include "lookup/KwLookupFinder.h"

#include <string>
#include <vector>

/// The flags of a search that ignores case.
inline constexpr int NOCASE = FIND_EXACT | FIND_NOCASE;

/// Records the values that Match() gets, in order. Accepts one value, and may produce a result of
/// its own at another.
class ProbeFinder : public KwLookupFinder {
public:
    explicit ProbeFinder(const std::string& text) : m_text(text) {}

    bool Match(const std::string& value) const override {
        asked.push_back(value);
        if (value == result_at)
            result = "the result of " + value;
        return value == m_text;
    }
    kwlookup::TextRange GetRequest() const override {
        return kwlookup::TextRange(m_text.begin(), m_text.end());
    }
    std::string GetRes() const override { return result; }
    void ClearRes() const override {
        ++cleared;
        result.clear();
    }

    std::string result_at = "no value at all";
    mutable std::vector<std::string> asked;
    mutable std::string result;
    mutable int cleared = 0;

private:
    std::string m_text;
};
