// SPDX-License-Identifier: MIT
#include "lookup/KwKeyedFinder.h"

void KwKeyedFinder::ClearRes() const {
    m_has_res = false;
}
