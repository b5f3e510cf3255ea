// SPDX-License-Identifier: MIT
#pragma once

#include "lookup/KeyedFinder.h"

#include <algorithm>
#include <locale>
#include <string>
#include <vector>

/// Matches values that equal one of its keys.
class AnyKeyFinder : public kwlookup::KeyedFinder {
public:
    explicit AnyKeyFinder(const std::vector<std::string>& keys) : m_keys(keys) {}

    bool Match(const std::string& value) const override {
        return std::any_of(m_keys.begin(), m_keys.end(),
                           [&](const std::string& key) { return EqualByUpper(key, value); });
    }
    kwlookup::TextRange GetRequest() const override {
        return kwlookup::TextRange(m_keys[0].begin(), m_keys[0].end());
    }
    KeyPart GetKeyPart() const override { return WholeValue; }
    bool GetKeys(kwlookup::FinderKeys& keys) const override {
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
