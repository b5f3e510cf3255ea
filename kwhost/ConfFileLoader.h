// SPDX-License-Identifier: MIT
#pragma once

#include "host/IfConfLoader.h"
#include "kwhost/ConfFile.h"

#include <string>
#include <vector>

class IfConfParser;

namespace kwlookup {

/// Loads the sections of a configuration file into the objects that plug-ins bring.
///
/// Each key is set through ConfParser; a parameter that the file does not set gets its default.
/// Everything wrong with a section is told at error level, with file, line and key, and makes
/// LoadSection() return false, with every variable as it was before, and every object initialised
/// again with the text that it had. A number that its variable cannot hold is wrong, and so is a
/// list (VT_OBJECT) from a file of its own, since messages show the items of lists. Secret values
/// are told nowhere, and HideInMessages() is called with each.
///
/// Threads: LoadSection() by one thread at a time, as the library does; SetFile() between loads.
class KW_EXPORT ConfFileLoader : public IfConfLoader {
public:
    /// Without a file, every parameter has its default.
    ConfFileLoader() = default;

    /// Loads from `file` from now on. The host reads it, and decides what its errors mean.
    void SetFile(ConfFile file) { m_file = std::move(file); }
    /// The file that it loads from.
    const ConfFile& GetFile() const { return m_file; }

    /// The name of the file.
    std::string GetDescription() const override;
    /// The numbers and the subsection are not used.
    bool LoadSection(int instance, const std::string& section, int index,
                     const std::string& subsection, int options, InterfaceConfHolder* holder,
                     const LogClass& log) override;
    void ReleaseLoader() override {}
    void PrepareLoad() override {}
    /// False: nothing is held during a load.
    bool AcquireLoader() override { return false; }

private:
    ConfFile m_file;
};

} // namespace kwlookup
