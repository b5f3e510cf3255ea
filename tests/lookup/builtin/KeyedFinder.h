// SPDX-License-Identifier: MIT
#pragma once

#include "lookup/KwKeyedFinder.h"

#include <algorithm>
#include <locale>
#include <string>
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
    KeyPart GetKeyPart() const override { return WHOLE_VALUE; }
    bool GetKeys(KwFinderKeys& keys) const override {
        for (const std::string& key : m_keys)
            keys.Add(key);
        return true;
    }

private:
    static bool EqualByUpper(const std::string& left, const std::string& right) {
        return std::equal(left.begin(), left.end(), right.begin(), right.end(), [](char l, char r) {
            return std::toupper(l, std::locale()) == std::toupper(r, std::locale());
        });
    }

    std::vector<std::string> m_keys;
};
