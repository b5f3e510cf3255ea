// SPDX-License-Identifier: MIT
#pragma once

#include "host/InterfaceConfHolder.h"
#include "lookup/KwIfObject.h"

/// An object from a plug-in library. All objects of a type share one configuration. It is loaded
/// through the InterfaceConfHolder of any one of them. Slot order is part of the binary interface.
class KW_EXPORT KwIfSharedObject : public virtual InterfaceConfHolder, public virtual KwIfObject {
public:
    /// Returns true when the host's configuration of the type must be loaded before an object is
    /// initialised. The spelling is part of the interface.
    virtual bool IsNeedCofigLoading() const { return false; }
};
