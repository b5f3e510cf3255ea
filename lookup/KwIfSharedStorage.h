// SPDX-License-Identifier: MIT
#pragma once

#include "lookup/KwIfSharedObject.h"
#include "lookup/KwIfStorage.h"

/// A storage from a plug-in library. Slot order is part of the binary interface.
class KW_EXPORT KwIfSharedStorage : public virtual KwIfSharedObject, public virtual KwIfStorage {
public:
    /// Marks the object as used for storing.
    virtual void SetStorage() = 0;
};
