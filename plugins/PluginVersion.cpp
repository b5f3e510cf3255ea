// SPDX-License-Identifier: MIT
// What each plug-in of this tree exports beside its creator.
#include "lookup/PluginVersion.h"

#include "host/KwExport.h"

extern "C" KW_EXPORT const int LookupVersion = kwlookup::MAJOR_VERSION;
