// SPDX-License-Identifier: MIT
#include "InputBlocks.h"

#include <utility>

namespace kwlookup {

bool InputBlocks::Take(Block& block) {
    const std::lock_guard lock(m_input);
    m_lines.CountLines(block.count);
    block.count = 0;
    if (m_stopped || !m_lines.NextLines(BLOCK_BYTES, block.lines))
        return false;
    block.number = m_taken++;
    return true;
}

bool InputBlocks::AwaitTurn(const Block& block) {
    std::unique_lock lock(m_output);
    m_turn_ended.wait(lock, [&] { return m_stopped || m_written == block.number; });
    return !m_stopped;
}

void InputBlocks::Write(const Block& block, std::string answers, const Writer& write) {
    std::unique_lock lock(m_output);
    m_turn_ended.wait(lock, [&] { return m_stopped || block.number - m_written < MOST_LEFT; });
    m_left.emplace(block.number, std::move(answers));
    if (m_written != block.number)
        return;
    for (auto next = m_left.begin(); !m_stopped && next != m_left.end() && next->first == m_written;
         next = m_left.begin()) {
        lock.unlock();
        const bool good = write(next->second);
        lock.lock();
        m_stopped = m_stopped || !good;
        m_left.erase(next);
        ++m_written;
    }
    m_turn_ended.notify_all();
}

void InputBlocks::Stop() {
    const std::lock_guard lock(m_output);
    m_stopped = true;
    m_turn_ended.notify_all();
}

} // namespace kwlookup
