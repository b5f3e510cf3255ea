// SPDX-License-Identifier: MIT
#pragma once

#include "host/InterfaceConfHolder.h"
#include "lookup/KwIfObject.h"

/// An object from a plug-in library: all objects of its type share one configuration, which is
/// loaded through the InterfaceConfHolder of any of them. Slot order is part of the binary
/// interface.
class KW_EXPORT KwIfSharedObject : public virtual InterfaceConfHolder, public virtual KwIfObject {
public:
    /// True when the type has a section in the host's configuration that must be loaded before an
    /// object is initialised. The spelling is part of the interface.
    virtual bool IsNeedCofigLoading() const { return false; }
};
