// SPDX-License-Identifier: MIT
#pragma once

#include "kwhost/ConfFileLoader.h"
#include "tools/lists/Warnings.h"

#include <boost/shared_ptr.hpp>

#include <string>

namespace kwlookup {

/// The tool's configuration file, and the loader that configures plug-ins from it.
class Configuration {
public:
    /// The section of the tool itself. Its only key is `Types`, a list of types that plug-ins from
    /// elsewhere provide.
    static constexpr char OWN_SECTION[] = "kwlookup";

    /// Sets the library's loader. If `file_name` is empty, every parameter has its default. Keeps
    /// the address of `log`.
    Configuration(const std::string& file_name, const LogClass& log);

    /// Read the file and register its types. False if the file has errors, which are reported; the
    /// settings read before stay in use.
    bool Read();

    /// Warn of each section for which there is no plug-in type.
    void WarnOfUnknownSections(Warnings::Mode mode) const;

    bool HasFile() const { return !m_file_name.empty(); }
    const ConfFile& GetFile() const { return m_loader->GetFile(); }
    void SetFile(const ConfFile& file) { m_loader->SetFile(file); }

private:
    bool UseOwnSection(const ConfFile& file) const;

    const std::string m_file_name;
    const LogClass& m_log;
    boost::shared_ptr<ConfFileLoader> m_loader;
};

} // namespace kwlookup
