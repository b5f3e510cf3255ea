// SPDX-License-Identifier: MIT
#include "objects/plugins/TestPlugin.h"

PluginCounts g_counts;

namespace {

class ConfiguredLookup : public PluginLookup {
public:
    bool IsNeedCofigLoading() const override { return true; }
};

} // namespace

extern "C" KW_EXPORT KwIfSharedLookup* CreateLookup(const LogClass&) {
    return new ConfiguredLookup;
}
