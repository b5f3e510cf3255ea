// SPDX-License-Identifier: MIT
#pragma once

/// A program with this has a resolver of its own before the system's. It takes the name "hang.test"
/// for 127.0.0.1, or for another address once MoveTo() is called. It does not answer for it while
/// an object of this class is there.
class HangingResolver {
public:
    HangingResolver();
    HangingResolver(const HangingResolver&) = delete;
    HangingResolver& operator=(const HangingResolver&) = delete;

    /// Waits until all who asked have their answer.
    ~HangingResolver();

    /// `address` must outlast the program's look-ups.
    static void MoveTo(const char* address);
};
