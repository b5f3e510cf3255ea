// SPDX-License-Identifier: MIT
#pragma once

#include "lookup/KwIfSharedLookup.h"

#include <string>

/// Opens the plug-in library of `type` for the rest of the process and returns its creator. Throws
/// std::runtime_error with the reason when it cannot be used.
PluginCreator OpenPlugin(const std::string& type);
