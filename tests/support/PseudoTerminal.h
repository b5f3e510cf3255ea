// SPDX-License-Identifier: MIT
#pragma once

#include "text/FileDescriptor.h"

#include <cstdlib>
#include <fcntl.h>

/// False if there is no /dev/pts, as in some containers.
inline bool HavePseudoTerminals() {
    const kwlookup::FileDescriptor terminal(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
    if (!terminal || ::grantpt(terminal.Get()) != 0 || ::unlockpt(terminal.Get()) != 0)
        return false;
    const char* const name = ::ptsname(terminal.Get());
    return name && kwlookup::FileDescriptor(::open(name, O_RDWR | O_NOCTTY | O_CLOEXEC));
}
