// SPDX-License-Identifier: MIT
#pragma once

#include "lookup/KwIfSharedLookup.h"

#include <string>

/// The plug-in type that the section `section` configures; empty when there is none.
std::string PluginTypeOf(const std::string& section);

/// Opens the plug-in library of `type` for the rest of the process and returns its creator. Throws
/// std::runtime_error with the reason when it cannot be used.
PluginCreator OpenPlugin(const std::string& type);
