// SPDX-License-Identifier: MIT
#pragma once

#include "lookup/KwIfLookup.h"
#include "lookup/KwIfSharedObject.h"

class LogClass;

/// A lookup from a plug-in library: what the creator of the library returns.
class KW_EXPORT KwIfSharedLookup : public virtual KwIfSharedObject, public virtual KwIfLookup {};

/// The creator that a plug-in library exports as `extern "C"` under the name "CreateLookup".
/// The caller owns the object; null means that it could not be made. `log` outlives the object.
/// It may throw a standard exception. Called under the library's process-wide lock.
using PluginCreator = KwIfSharedLookup* (*)(const LogClass& log);
