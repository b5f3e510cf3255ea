// SPDX-License-Identifier: MIT
#pragma once

#include "host/KwExport.h"

#include <boost/shared_ptr.hpp>

class IfConfParser;

/// Something that is configured from one section of the host's configuration.
///
/// A configuration loader (host/IfConfLoader.h) fills it in three steps: MakePreInit(), the values
/// through the parser, PostInit(). Slot order is part of the binary interface.
///
/// Threads: used by one thread at a time, while configuration is loaded.
class KW_EXPORT InterfaceConfHolder {
public:
    virtual ~InterfaceConfHolder() = default;

    /// Registers the parameters of this object with `parser`, which writes the values into
    /// variables that live as long as this object, and as nobody calls MakePreInit() again. False
    /// means that nothing could be registered.
    virtual bool MakePreInit(boost::shared_ptr<IfConfParser> parser) = 0;

    /// The step after the values are in: checks and interprets them. Throws what is wrong with
    /// them.
    virtual void PostInit() = 0;
};
