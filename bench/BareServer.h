// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>

/// Answers each netstring that arrives at the UNIX socket `path` with the same bytes, without
/// looking at it: what a daemon's doors are measured against. The connections are dealt out to
/// `threads` threads. Does not return.
[[noreturn]] void RunBareServer(const std::string& path, const std::string& answer,
                                std::size_t threads);
