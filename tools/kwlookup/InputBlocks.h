// SPDX-License-Identifier: MIT
#pragma once

#include "InputLines.h"

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <string>
#include <vector>

namespace kwlookup {

/// Gives blocks of input lines to threads, and lets the threads write in the order of the blocks.
///
/// Threads: any, each with a block of its own.
class InputBlocks {
public:
    /// The largest number of lines in a block: small enough for the processor's cache.
    static constexpr std::size_t LARGEST = 1024;

    struct Block {
        std::vector<std::string> texts = std::vector<std::string>(LARGEST);
        std::size_t count = 0;
        std::size_t number = 0;
    };

    /// Keeps the address of `lines`.
    explicit InputBlocks(InputLines& lines) : m_lines(lines) {}

    /// Fill `block` with the next lines. False if there are no more, and after Stop(). A thread
    /// that has a block must call EndTurn() for it, or Stop().
    bool Take(Block& block);

    /// Wait until all blocks before `block` have been written. False after Stop(): do not write the
    /// block then.
    bool AwaitTurn(const Block& block);

    /// Call after AwaitTurn(), when the block has been written.
    void EndTurn();

    /// Make all calls of Take() and AwaitTurn() return false, also those that wait.
    void Stop();

private:
    std::mutex m_input; ///< for m_lines and m_taken
    InputLines& m_lines;
    std::size_t m_taken = 0;

    std::mutex m_output; ///< for m_written
    std::condition_variable m_turn_ended;
    std::size_t m_written = 0;
    std::atomic<bool> m_stopped{false};
};

} // namespace kwlookup
