// SPDX-License-Identifier: MIT
#pragma once

#include "InputLines.h"

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <map>
#include <mutex>
#include <string>

namespace kwlookup {

/// Gives blocks of input lines to threads, and writes their answers in the order of the blocks.
///
/// Threads: any, each with a block of its own.
class InputBlocks {
public:
    struct Block {
        std::string lines;
        std::size_t number = 0;
        std::size_t count = 0; ///< of its lines, set by the thread that has it
    };

    /// Keeps the address of `lines`.
    explicit InputBlocks(InputLines& lines) : m_lines(lines) {}

    /// Write answers to the output. False if that fails.
    using Writer = std::function<bool(const std::string& answers)>;

    /// Fill `block` with the next lines, and count those that it had. False if there are no more,
    /// and after Stop(). A thread that has a block must call Write() for it, or Stop().
    bool Take(Block& block);

    /// Wait until all blocks before `block` have been written. False after Stop(): do not write the
    /// block then.
    bool AwaitTurn(const Block& block);

    /// Write the answers to `block` with `write`, and then those that other threads have left. If
    /// blocks before it are missing, leave the answers to the thread that has the last of them. One
    /// thread writes at a time.
    void Write(const Block& block, std::string answers, const Writer& write);

    /// Make Take() and AwaitTurn() return false, and Write() return, also those calls that wait.
    void Stop();

private:
    /// The size of a block in bytes: small enough for the processor's cache, and for its answers to
    /// be written at once.
    static constexpr std::size_t BLOCK_BYTES = 32 * 1024;

    std::mutex m_input; ///< for m_lines and m_taken
    InputLines& m_lines;
    std::size_t m_taken = 0;

    /// How many blocks may be answered before they can be written: enough that no thread waits for
    /// another that takes a little longer.
    static constexpr std::size_t MOST_LEFT = 16;

    std::mutex m_output; ///< for m_written and m_left
    std::condition_variable m_turn_ended;
    std::size_t m_written = 0;
    std::map<std::size_t, std::string> m_left; ///< answers by the numbers of their blocks
    std::atomic<bool> m_stopped{false};
};

} // namespace kwlookup
