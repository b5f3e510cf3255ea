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

/// Hands blocks of input lines to threads, and has each thread write in the order of the blocks.
///
/// Threads: any, each with a block of its own.
class InputBlocks {
public:
    /// The lines of a block at most: few enough for the processor's cache.
    static constexpr std::size_t LARGEST = 1024;

    struct Block {
        std::vector<std::string> texts = std::vector<std::string>(LARGEST);
        std::size_t count = 0;
        std::size_t number = 0;
    };

    /// Keeps the address of `lines`.
    explicit InputBlocks(InputLines& lines) : m_lines(lines) {}

    /// Fills `block` with the next lines. False when there are none, and after Stop(). Whoever has
    /// a block must call EndTurn() for it, or Stop().
    bool Take(Block& block);

    /// Waits until all blocks before `block` have been written. False after Stop(): then it must
    /// not be written.
    bool AwaitTurn(const Block& block);

    /// After AwaitTurn(): the block is written.
    void EndTurn();

    /// Nobody gets a block from here on, and nobody waits for a turn.
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
