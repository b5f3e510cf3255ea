// SPDX-License-Identifier: MIT
#pragma once

#include <string>

/// The plug-in type that the section `section` configures; empty when there is none.
std::string PluginTypeOf(const std::string& section);
