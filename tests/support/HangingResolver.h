// SPDX-License-Identifier: MIT
#pragma once

/// A program with this has a resolver of its own before the system's. It takes the name "hang.test"
/// for 127.0.0.1, and does not answer for it while this object is there.
class HangingResolver {
public:
    HangingResolver();
    HangingResolver(const HangingResolver&) = delete;
    HangingResolver& operator=(const HangingResolver&) = delete;

    /// Waits until all who asked have their answer.
    ~HangingResolver();
};
