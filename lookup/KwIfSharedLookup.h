// SPDX-License-Identifier: MIT
#pragma once

#include "lookup/KwIfLookup.h"
#include "lookup/KwIfSharedObject.h"

class LogClass;

/// A lookup from a plug-in library.
class KW_EXPORT KwIfSharedLookup : public virtual KwIfSharedObject, public virtual KwIfLookup {};

/// The creator that a plug-in library exports as `extern "C"` under the name "CreateLookup":
///
///     extern "C" KW_EXPORT KwIfSharedLookup* CreateLookup(const LogClass& log) {
///         return new PathLookup(log);
///     }
///
/// The caller owns the object. Null means that no object could be made. `log` outlives the object.
/// The creator may throw a standard exception. It is called under a process-wide lock.
using PluginCreator = KwIfSharedLookup* (*)(const LogClass& log);
