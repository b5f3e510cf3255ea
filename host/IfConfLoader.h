// SPDX-License-Identifier: MIT
#pragma once

#include "host/KwExport.h"

#include <string>

class InterfaceConfHolder;
class LogClass;

/// The host's configuration loader: reads one section of the host's configuration into an object.
///
/// The library only calls it, and in this order: AcquireLoader(), PrepareLoad(), LoadSection(), and
/// ReleaseLoader() on every way out when AcquireLoader() returned true. The host owns the loader;
/// the library keeps a weak reference. Slot order is part of the binary interface.
///
/// Threads: the library calls it under its own process-wide lock, from whichever thread fills a
/// list or reloads.
class KW_EXPORT IfConfLoader {
public:
    virtual ~IfConfLoader() = default;

    /// A short name of where the configuration comes from, for the host's own messages.
    /// The library does not call it.
    virtual std::string GetDescription() const = 0;

    /// Reads `section` into `holder` and reports what is wrong with it through `log`. The library
    /// passes 0 for the three numbers and an empty `subsection`; they are the host's to use.
    /// Returns true when the section was read and applied.
    virtual bool LoadSection(int instance, const std::string& section, int index,
                             const std::string& subsection, int options,
                             InterfaceConfHolder* holder, const LogClass& log) = 0;

    /// Ends a load that AcquireLoader() began.
    virtual void ReleaseLoader() = 0;

    /// Called once before each load.
    virtual void PrepareLoad() = 0;

    /// Begins a load. True asks for ReleaseLoader() when the load ends, however it ends.
    virtual bool AcquireLoader() = 0;
};
