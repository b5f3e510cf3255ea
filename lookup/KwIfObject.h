// SPDX-License-Identifier: MIT
#pragma once

#include "host/KwExport.h"

#include <string>

class LogClass;

/// Any object that an object list can name. It is a virtual base, so every object has exactly one.
///
/// A creator makes the object; then InitLog() and Init() are called. The owner destroys it through
/// the virtual destructor. Slot order is part of the binary interface.
class KW_EXPORT KwIfObject {
public:
    virtual ~KwIfObject() = default;

    /// Configures the object with a text: a literal value, a file name or the init data of a
    /// plug-in. Throws a standard exception on failure. Called before other threads use the object.
    virtual void Init(const std::string& init_data) = 0;

    /// Returns a short name of the object for log messages. May be empty.
    virtual std::string GetDescription() const = 0;

    /// Sets the logger to write to, which must outlive the object. The object may ignore it.
    virtual void InitLog(const LogClass& log) = 0;

    /// Returns the object's logger, or null.
    virtual const LogClass* GetLogPtr() const = 0;
};
