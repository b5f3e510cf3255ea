// SPDX-License-Identifier: MIT
#pragma once

#include "lookup/KwIfSharedLookup.h"

#include <atomic>
#include <stdexcept>
#include <string>

class IfConfParser;

/// Counts the calls that a test plug-in got. Each exports one under the name "g_counts" (see
/// LoadedPlugin).
struct PluginCounts {
    std::atomic<int> made{0};
    std::atomic<int> alive{0};
    std::atomic<int> searched{0}; ///< counted by some only
};

extern "C" KW_EXPORT PluginCounts g_counts;

/// An exception class that only the plug-in knows. Others catch it as std::runtime_error.
class PluginError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A lookup of one value, its init data, with the result "result of VALUE".
///
/// Some values misbehave. "bad" cannot be initialised. "int" throws something other than a
/// std::exception. "broken" cannot be searched. "echo" gets the description of a finder that is
/// also a lookup.
class PluginLookup : public KwIfSharedLookup {
public:
    PluginLookup() {
        ++g_counts.made;
        ++g_counts.alive;
    }
    ~PluginLookup() override { --g_counts.alive; }

    bool MakePreInit(boost::shared_ptr<IfConfParser>) override { return true; }
    void PostInit() override {}

    void Init(const std::string& value) override {
        if (value == "bad")
            throw PluginError("bad init data");
        if (value == "int")
            throw 42;
        m_value = value;
    }
    std::string GetDescription() const override { return "plug-in"; }
    void InitLog(const LogClass& log) override { m_log = &log; }
    const LogClass* GetLogPtr() const override { return m_log; }

    bool Find(const KwLookupFinder& finder, std::string* res, int,
              std::string* matched) const override {
        if (m_value == "broken")
            throw PluginError("cannot answer");
        if (m_value == "echo") {
            const auto* lookup = dynamic_cast<const KwIfLookup*>(&finder);
            if (lookup)
                *res = lookup->GetDescription();
            return lookup != nullptr;
        }
        if (!finder.Match(m_value))
            return false;
        *res = "result of " + m_value;
        if (matched)
            *matched = m_value;
        return true;
    }

private:
    std::string m_value;
    const LogClass* m_log = nullptr;
};
