// SPDX-License-Identifier: MIT
#pragma once

#include "host/KwExport.h"

#include <boost/shared_ptr.hpp>

class IfConfParser;

/// An object that is configured from one section of the host's configuration.
///
/// A configuration loader (host/IfConfLoader.h) fills it in three steps. It calls MakePreInit(),
/// sets the values through the parser, and calls PostInit(). Slot order is part of the binary
/// interface.
///
/// Threads: used by one thread at a time, while configuration is loaded.
class KW_EXPORT InterfaceConfHolder {
public:
    virtual ~InterfaceConfHolder() = default;

    /// Registers the parameters of this object with `parser`, which then writes their values. The
    /// registered variables stay valid until this object is destroyed or MakePreInit() is called
    /// again. Returns false when nothing could be registered.
    virtual bool MakePreInit(boost::shared_ptr<IfConfParser> parser) = 0;

    /// Checks and interprets the values after all of them are set. Throws a standard exception when
    /// one is wrong.
    virtual void PostInit() = 0;
};
