// SPDX-License-Identifier: MIT
#pragma once

#include "kwhost/ConfFileLoader.h"

namespace kwlookup {

/// Configures plug-ins from a configuration file, with `OnError = exception` as the default. A
/// fault that counts as "not found" would let mail through.
class StrictLoader : public ConfFileLoader {
public:
    bool LoadSection(int instance, const std::string& section, int index,
                     const std::string& subsection, int options, InterfaceConfHolder* holder,
                     const LogClass& log) override;
};

} // namespace kwlookup
