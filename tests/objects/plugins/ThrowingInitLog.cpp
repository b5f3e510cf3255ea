// SPDX-License-Identifier: MIT
#include "objects/plugins/TestPlugin.h"

PluginCounts g_counts;

namespace {

class UnloggedLookup : public PluginLookup {
public:
    void InitLog(const LogClass&) override { throw PluginError("no log"); }
};

} // namespace

extern "C" KW_EXPORT KwIfSharedLookup* CreateLookup(const LogClass&) {
    return new UnloggedLookup;
}
