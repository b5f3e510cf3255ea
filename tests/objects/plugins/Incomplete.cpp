// SPDX-License-Identifier: MIT
#include "objects/plugins/TestPlugin.h"

PluginCounts g_counts;

/// Defined nowhere, so the library cannot be opened with all symbols resolved.
int Missing();

extern "C" KW_EXPORT int CallMissing() {
    return Missing();
}

extern "C" KW_EXPORT KwIfSharedLookup* CreateLookup(const LogClass&) {
    return new PluginLookup;
}
