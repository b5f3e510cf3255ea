// SPDX-License-Identifier: MIT
#include "lookup/KeyedFinder.h"

namespace kwlookup {

void KeyedFinder::ClearRes() const {
    m_has_res = false;
}

} // namespace kwlookup
