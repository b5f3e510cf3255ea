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
#include <vector>

namespace kwlookup {

/// Gives blocks of input lines to threads, and writes their answers in the order of the blocks.
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

    /// Write answers to the output. False if that fails.
    using Writer = std::function<bool(const std::string& answers)>;

    /// Fill `block` with the next lines. False if there are no more, and after Stop(). A thread
    /// that has a block must call Write() for it, or Stop().
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
