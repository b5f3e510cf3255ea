// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace kwlookup {

/// The plug-in type that the section `section` configures; empty if there is none.
std::string PluginTypeOf(const std::string& section);

/// Register all types that this project has plug-ins for, built or not. The library itself
/// registers only some of them.
void RegisterOwnTypes();

/// Register a type that a plug-in from elsewhere provides. Does nothing if the type is known.
void RegisterType(const std::string& type);

/// Why `type` cannot be the name of a type in a list; empty if it can.
std::string WhyNoTypeName(const std::string& type);

/// Why the plug-in of `type` was not built with this tool; empty if it was built, or is not ours.
std::string WhyNotBuilt(const std::string& type);

/// The name of the package that has the plug-in of `type`, if the plug-in was built but its file is
/// not there; empty otherwise, or if this tool is from no package.
std::string MissingPackage(const std::string& type);

/// Why the library that the plug-in of `type` opens at run time cannot be opened; empty if it can,
/// or if the plug-in opens none. Opens it.
std::string WhyNoLibrary(const std::string& type);

} // namespace kwlookup
