// SPDX-License-Identifier: MIT
#pragma once

#include "lookup/KwIfObject.h"

class KwStorageValuesMap;

/// Anything that stores records. Storages come from plug-ins; the library neither calls nor
/// implements the operation. Slot order is part of the binary interface.
class KW_EXPORT KwIfStorage : public virtual KwIfObject {
public:
    /// Stores one record. Throws a standard exception when it could not be stored.
    virtual void Store(const KwStorageValuesMap& values) = 0;
};
