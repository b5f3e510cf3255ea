// SPDX-License-Identifier: MIT
#pragma once

#include "host/KwExport.h"

#include <string>

class LogClass;

/// Any object that an object list can name. It exists once in every object, as a virtual base.
///
/// Life: a creator makes it, then InitLog(), then Init(); its owner destroys it through the virtual
/// destructor. Slot order is part of the binary interface.
class KW_EXPORT KwIfObject {
public:
    virtual ~KwIfObject() = default;

    /// Gives the object the text that configures it: a literal string, a file name, the init data
    /// of a plug-in. Throws a standard exception on failure. Called before the object is shared.
    virtual void Init(const std::string& init_data) = 0;

    /// A short text that names the object in log messages; empty when it has nothing to add.
    virtual std::string GetDescription() const = 0;

    /// Hands over the logger to write to, which must outlive the object. May be ignored.
    virtual void InitLog(const LogClass& log) = 0;

    /// The object's logger, or null when it has none.
    virtual const LogClass* GetLogPtr() const = 0;
};
