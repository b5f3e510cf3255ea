// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace kwlookup {

/// The plug-in type that the section `section` configures; empty when there is none.
std::string PluginTypeOf(const std::string& section);

/// Makes known the types that this project has plug-ins for, built or not. Hosts know them by
/// themselves only when the library registers them.
void RegisterOwnTypes();

/// Makes known a type that a plug-in from elsewhere serves. Does nothing for one that is known.
void RegisterType(const std::string& type);

/// Why `type` cannot be the name of a type in a list; empty when it can.
std::string WhyNoTypeName(const std::string& type);

/// Why the plug-in of `type` was not built with this tool; empty when it was, or is not ours.
std::string WhyNotBuilt(const std::string& type);

} // namespace kwlookup
