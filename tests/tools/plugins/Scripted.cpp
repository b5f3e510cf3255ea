// SPDX-License-Identifier: MIT
#include "host/LogText.h"
#include "objects/plugins/TestPlugin.h"

#include <cstdlib>
#include <string>
#include <unistd.h>

PluginCounts g_counts;

namespace {

using namespace kwlookup;

/// The environment scripts faults that happen before there is init data.
bool IsScripted(const std::string& what) {
    const char* told = std::getenv("SCRIPT");
    return told && told == what;
}

void ThrowWhenToldTo(const char* what) {
    if (IsScripted(what))
        throw 42;
}

/// A plug-in whose init data are a script for its answers, whatever the text.
class ScriptedLookup : public PluginLookup {
public:
    bool IsNeedCofigLoading() const override { return std::getenv("SCRIPT") != nullptr; }
    bool MakePreInit(boost::shared_ptr<IfConfParser>) override {
        ThrowWhenToldTo("throw while configured");
        return true;
    }
    void PostInit() override {
        if (!IsScripted("log when configured"))
            return;
        if (!GetLogPtr())
            throw PluginError("there is no logger");
        LogText(*GetLogPtr(), log4cxx::Level::LEVEL_WARN, "is configured");
    }
    void InitLog(const LogClass& log) override {
        ThrowWhenToldTo("throw when given a logger");
        PluginLookup::InitLog(log);
    }

    void Init(const std::string& script) override {
        if (script == "odd from the start")
            throw 42;
        m_script = script;
    }

    bool Find(const KwLookupFinder& finder, std::string* res, int flags,
              std::string*) const override {
        if (m_script == "broken")
            throw PluginError("cannot \x1b answer");
        if (m_script == "broken after a result") {
            finder.Match("corp.lan left over");
            throw PluginError("gave up");
        }
        if (m_script == "odd")
            throw 1;
        if (m_script == "found")
            return true;
        while (m_script == "wait")
            ::pause();
        if (m_script == "flags") {
            *res = std::to_string(flags);
            return true;
        }
        return false;
    }

private:
    std::string m_script;
};

} // namespace

extern "C" KW_EXPORT KwIfSharedLookup* CreateLookup(const LogClass&) {
    ThrowWhenToldTo("throw when made");
    return new ScriptedLookup;
}
