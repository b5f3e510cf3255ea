// SPDX-License-Identifier: MIT
#include "lookup/PluginVersion.h"
#include "objects/plugins/TestPlugin.h"

#include <cstdlib>

PluginCounts g_counts;

extern "C" KW_EXPORT const int LookupVersion = kwlookup::MAJOR_VERSION + 1;

extern "C" KW_EXPORT KwIfSharedLookup* CreateLookup(const LogClass&) {
    std::abort();
}
