// SPDX-License-Identifier: MIT
#include "lookup/KwLookupFinder.h"

std::string KwLookupFinder::GetRes() const {
    return std::string();
}

void KwLookupFinder::ClearRes() const {}
