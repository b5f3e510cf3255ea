// SPDX-License-Identifier: MIT
#include "objects/plugins/TestPlugin.h"

PluginCounts g_counts;

namespace {

/// A plug-in that answers by itself, whatever the text: its init data say how.
class ScriptedLookup : public PluginLookup {
public:
    void Init(const std::string& script) override { m_script = script; }

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
    return new ScriptedLookup;
}
