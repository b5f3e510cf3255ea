// SPDX-License-Identifier: MIT
#pragma once

#include "host/IfConfLoader.h"
#include "kwhost/ConfFile.h"

#include <string>
#include <vector>

class IfConfParser;

namespace kwlookup {

/// Configures plug-ins from a configuration file.
///
///     const auto loader = boost::make_shared<kwlookup::ConfFileLoader>();
///     loader->SetFile(kwlookup::ConfFile("/etc/host.conf"));
///     KwObjectHolder::SetConfLoader(loader);
///
/// Each key is set through ConfParser. A parameter that the file does not set gets its default.
/// Every error of a section is written at error level, with file, line and key. LoadSection() then
/// returns false, every variable has its old value, and every object (VT_OBJECT) is initialised
/// again with its old text. Errors include a number that is out of range for its variable, and an
/// object whose value comes from a KEY.file, because messages show the items of lists.
/// No message shows a secret value; HideInMessages() is called with each.
///
/// Threads: LoadSection() is called by one thread at a time. SetFile() must not be called during a
/// load.
class KW_EXPORT ConfFileLoader : public IfConfLoader {
public:
    /// Makes a loader without a file, which gives every parameter its default.
    ConfFileLoader() = default;

    /// Loads from `file` from now on. The caller checks the file's errors before.
    void SetFile(ConfFile file) { m_file = std::move(file); }
    /// Returns the file that it loads from.
    const ConfFile& GetFile() const { return m_file; }

    /// Returns the name of the file.
    std::string GetDescription() const override;
    /// Ignores `instance`, `index`, `subsection` and `options`.
    bool LoadSection(int instance, const std::string& section, int index,
                     const std::string& subsection, int options, InterfaceConfHolder* holder,
                     const LogClass& log) override;
    void ReleaseLoader() override {}
    void PrepareLoad() override {}
    /// Returns false: there is nothing to release.
    bool AcquireLoader() override { return false; }

private:
    ConfFile m_file;
};

} // namespace kwlookup
