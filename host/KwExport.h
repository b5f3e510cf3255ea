// SPDX-License-Identifier: MIT
#pragma once

/// Marks what crosses the border between the library, its plug-ins and the host.
/// Everything is built with hidden visibility; only what carries this mark can be linked to.
#define KW_EXPORT __attribute__((visibility("default")))
