// SPDX-License-Identifier: MIT
// Makes the type of the plug-in that a program tests known, which the library need not know.
#include "lookup/KwFactory.h"
#include "lookup/KwIfLookup.h"

namespace {

[[maybe_unused]] const bool registered =
    KwFactory<KwIfLookup>::Instance().Register(PLUGIN_TYPE, nullptr);

} // namespace
