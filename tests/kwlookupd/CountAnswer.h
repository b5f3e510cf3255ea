// SPDX-License-Identifier: MIT
#pragma once

#include "tools/kwlookupd/status/Metrics.h"

#include <cstddef>
#include <cstdint>

/// Counts an answer of `list` that took so many nanoseconds.
inline void CountAnswer(kwlookup::Metrics& metrics, std::size_t thread, std::size_t door,
                        std::size_t list, kwlookup::Outcome outcome, std::uint64_t nanoseconds) {
    metrics.Count(thread, door, list, outcome);
    metrics.CountTimes(thread, door, nanoseconds, 1);
}
