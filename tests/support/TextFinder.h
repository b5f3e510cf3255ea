// SPDX-License-Identifier: MIT
#pragma once

#include "lookup/KwLookupFinder.h"

#include <string>

/// A finder that matches values equal to its text.
class TextFinder : public KwLookupFinder {
public:
    explicit TextFinder(const std::string& text) : m_text(text) {}

    bool Match(const std::string& value) const override { return value == m_text; }
    kwlookup::TextRange GetRequest() const override {
        return kwlookup::TextRange(m_text.begin(), m_text.end());
    }

private:
    std::string m_text;
};
