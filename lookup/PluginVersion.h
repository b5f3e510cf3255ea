// SPDX-License-Identifier: MIT
#pragma once

namespace kwlookup {

/// The major version of the library that these headers belong to. A plug-in can export the one that
/// it was built for, beside its creator:
///
///     extern "C" KW_EXPORT const int LookupVersion = kwlookup::MAJOR_VERSION;
///
/// A library of another major version then refuses the plug-in and does not call it. A plug-in
/// without this name is called.
constexpr int MAJOR_VERSION = 1;

} // namespace kwlookup
