// SPDX-License-Identifier: MIT
#include "objects/plugins/TestPlugin.h"

PluginCounts g_counts;

extern "C" KW_EXPORT KwIfSharedLookup* CreateLookup(const LogClass&) {
    ++g_counts.made;
    return nullptr;
}
