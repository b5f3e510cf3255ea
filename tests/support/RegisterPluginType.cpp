// SPDX-License-Identifier: MIT
// Registers the type of the plug-in under test, which the library may not know.
#include "lookup/KwFactory.h"
#include "lookup/KwIfLookup.h"

namespace {

[[maybe_unused]] const bool registered =
    KwFactory<KwIfLookup>::Instance().Register(PLUGIN_TYPE, nullptr);

} // namespace
