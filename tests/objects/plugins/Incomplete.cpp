// SPDX-License-Identifier: MIT
#include "objects/plugins/TestPlugin.h"

PluginCounts g_counts;

/// Defined nowhere, which shows as soon as all symbols are resolved.
int Missing();

extern "C" KW_EXPORT int CallMissing() {
    return Missing();
}

extern "C" KW_EXPORT KwIfSharedLookup* CreateLookup(const LogClass&) {
    return new PluginLookup;
}
