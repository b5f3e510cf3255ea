// SPDX-License-Identifier: MIT
#include "objects/reload_plugins/ReloadPlugin.h"

ReloadPluginState g_state;
