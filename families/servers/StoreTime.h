// SPDX-License-Identifier: MIT
#pragma once

#include "families/servers/Deadline.h"

#include <chrono>
#include <cstddef>

namespace kwlookup {

/// The time for a transaction that stores: one limit for a single row, and one for each statement
/// of a batch, because a batch can be of any length.
///
/// Threads: any.
class StoreTime {
public:
    StoreTime(std::chrono::milliseconds limit, std::size_t rows)
        : m_limit(limit), m_deadline(limit), m_is_batch(rows > 1) {}

    /// The deadline for a statement that begins now.
    Deadline ForStatement() const { return m_is_batch ? Deadline(m_limit) : m_deadline; }

private:
    std::chrono::milliseconds m_limit;
    Deadline m_deadline;
    bool m_is_batch;
};

} // namespace kwlookup
