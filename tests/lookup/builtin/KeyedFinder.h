// SPDX-License-Identifier: MIT
#pragma once

#include "lookup/KwKeyedFinder.h"

#include <algorithm>
#include <locale>
#include <string>
#include <string_view>
#include <vector>

/// Matches what equals one of its keys.
class KeyedFinder : public KwKeyedFinder {
public:
    explicit KeyedFinder(const std::vector<std::string>& keys) : m_keys(keys) {}

    bool Match(const std::string& value) const override {
        return std::any_of(m_keys.begin(), m_keys.end(),
                           [&](const std::string& key) { return EqualByUpper(key, value); });
    }
    KwTextRange GetRequest() const override {
        return KwTextRange(m_keys[0].begin(), m_keys[0].end());
    }
    std::vector<std::string_view> GetKeys() const override {
        return std::vector<std::string_view>(m_keys.begin(), m_keys.end());
    }

private:
    static bool EqualByUpper(const std::string& left, const std::string& right) {
        return std::equal(left.begin(), left.end(), right.begin(), right.end(), [](char l, char r) {
            return std::toupper(l, std::locale()) == std::toupper(r, std::locale());
        });
    }

    std::vector<std::string> m_keys;
};
