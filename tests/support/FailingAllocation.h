// SPDX-License-Identifier: MIT
#pragma once

/// Makes one allocation of this thread fail, after `after` successful ones. Link
/// support/FailingAllocation.cpp, which replaces operator new.
class FailingAllocation {
public:
    explicit FailingAllocation(long after);
    ~FailingAllocation();
    FailingAllocation(const FailingAllocation&) = delete;
    FailingAllocation& operator=(const FailingAllocation&) = delete;

    /// True once the allocation has failed.
    bool HasFailed() const;

    /// The number of allocations of the process that are not freed yet.
    static long Live();
};
