// SPDX-License-Identifier: MIT
#pragma once

#include "lookup/KwIfObject.h"

class KwStorageValuesMap;

/// An object that stores records. Plug-ins implement it and hosts call it; the library does
/// neither. Slot order is part of the binary interface.
class KW_EXPORT KwIfStorage : public virtual KwIfObject {
public:
    /// Stores one record. Throws a standard exception when that fails.
    virtual void Store(const KwStorageValuesMap& values) = 0;
};
