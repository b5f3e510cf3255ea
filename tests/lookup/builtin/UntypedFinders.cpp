// SPDX-License-Identifier: MIT
// Compiled with -fno-rtti.
#include "lookup/builtin/UntypedFinders.h"

#include "lookup/KeyedFinder.h"

#ifdef __GXX_RTTI
#error "compile this file without run-time type information"
#endif

namespace {

using namespace kwlookup;

class Plain : public KwLookupFinder {
public:
    explicit Plain(const std::string& text) : m_text(text) {}
    bool Match(const std::string& value) const override { return value == m_text; }
    TextRange GetRequest() const override { return TextRange(m_text.begin(), m_text.end()); }

private:
    const std::string m_text;
};

class Keyed : public KeyedFinder {
public:
    Keyed(const std::string& text, int& matches) : m_text(text), m_matches(matches) {}
    bool Match(const std::string& value) const override {
        ++m_matches;
        return value == m_text;
    }
    TextRange GetRequest() const override { return TextRange(m_text.begin(), m_text.end()); }
    KeyPart GetKeyPart() const override { return WholeValue; }
    bool GetKeys(FinderKeys& keys) const override {
        keys.Add(m_text);
        return true;
    }

private:
    const std::string m_text;
    int& m_matches;
};

} // namespace

std::unique_ptr<KwLookupFinder> MakeUntypedFinder(const std::string& text) {
    return std::make_unique<Plain>(text);
}

std::unique_ptr<KwLookupFinder> MakeUntypedKeyedFinder(const std::string& text, int& matches) {
    return std::make_unique<Keyed>(text, matches);
}
