// SPDX-License-Identifier: MIT
#pragma once

/// Exports a class or function from its library. Everything without this mark is built with hidden
/// visibility, so hosts and plug-ins cannot link to it.
#define KW_EXPORT __attribute__((visibility("default")))
