// SPDX-License-Identifier: MIT
#pragma once

#include "host/KwExport.h"

#include <string>

class InterfaceConfHolder;
class LogClass;

/// The host's configuration loader: reads one section of the host's configuration into an object.
///
/// The host implements it and hands it to KwObjectHolder::SetConfLoader(). The library calls, in
/// this order, AcquireLoader(), PrepareLoad() and LoadSection(). When AcquireLoader() returned true
/// it always calls ReleaseLoader() at the end. The host owns the loader; the library keeps a weak
/// reference. Slot order is part of the binary interface.
///
/// Threads: the library calls it under its own process-wide lock, from whichever thread fills a
/// list or reloads.
class KW_EXPORT IfConfLoader {
public:
    virtual ~IfConfLoader() = default;

    /// A short name of the configuration's source, for the host's own messages. The library does
    /// not call it.
    virtual std::string GetDescription() const = 0;

    /// Reads `section` into `holder` and reports its errors through `log`. Returns true when the
    /// section was read and applied. The library passes 0 for `instance`, `index` and `options`,
    /// and an empty `subsection`; a host may use them for its own calls.
    virtual bool LoadSection(int instance, const std::string& section, int index,
                             const std::string& subsection, int options,
                             InterfaceConfHolder* holder, const LogClass& log) = 0;

    /// Ends a load that AcquireLoader() began.
    virtual void ReleaseLoader() = 0;

    /// Called once before each load.
    virtual void PrepareLoad() = 0;

    /// Begins a load. Return true to have ReleaseLoader() called when the load ends, also after an
    /// exception.
    virtual bool AcquireLoader() = 0;
};
