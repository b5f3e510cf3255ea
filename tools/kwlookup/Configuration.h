// SPDX-License-Identifier: MIT
#pragma once

#include "Warnings.h"
#include "kwhost/ConfFileLoader.h"

#include <boost/shared_ptr.hpp>

#include <string>

namespace kwlookup {

/// The tool's configuration file, and the loader through which plug-ins are configured from it.
class Configuration {
public:
    /// The section of the tool itself. `Types` is a list of types that plug-ins from elsewhere
    /// serve.
    static constexpr char OWN_SECTION[] = "kwlookup";

    /// Sets the library's loader. Without a file name every parameter has its default. Keeps the
    /// address of `log`.
    Configuration(const std::string& file_name, const LogClass& log);

    /// Reads the file, and makes its types known. False, with what is wrong told and the file read
    /// before still in use, when it cannot be used.
    bool Read();

    /// Warns of each section that no plug-in type has, which configures nothing.
    void TellUnknownSections(Warnings::Mode mode) const;

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
