// SPDX-License-Identifier: MIT
#pragma once

/// Makes one allocation of this thread fail, the one after `after` others. Linked into a program
/// (support/FailingAllocation.cpp), it takes the place of operator new.
class FailingAllocation {
public:
    explicit FailingAllocation(long after);
    ~FailingAllocation();
    FailingAllocation(const FailingAllocation&) = delete;
    FailingAllocation& operator=(const FailingAllocation&) = delete;

    /// True once the allocation was asked for, and failed.
    bool HasFailed() const;

    /// How many allocations of the process are not freed yet.
    static long Live();
};
