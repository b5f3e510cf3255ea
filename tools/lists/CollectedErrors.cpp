// SPDX-License-Identifier: MIT
#include "tools/lists/CollectedErrors.h"

#include "host/LogClass.h"
#include "objects/KwObjectHolder.h"

#include <stdexcept>

namespace kwlookup {

bool TakeCollectedErrors() {
    LogClass silent("");
    try {
        KwObjectHolder::AfterReload(silent);
        return false;
    } catch (const std::domain_error&) {
        return true;
    }
}

} // namespace kwlookup
