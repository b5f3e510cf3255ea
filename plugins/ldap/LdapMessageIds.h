// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace kwlookup {

/// Reads the numbers of the messages in a stream of LDAP messages. A message that is no LDAP ends
/// the reading; libldap reports it.
///
/// Threads: one.
class LdapMessageIds {
public:
    /// Calls `found(id)` for each message of which the number is complete.
    template <typename Found>
    void Read(std::string_view bytes, Found&& found) {
        while (!bytes.empty() && !m_is_lost) {
            if (m_rest >= bytes.size()) {
                m_rest -= bytes.size();
                return;
            }
            bytes.remove_prefix(m_rest);
            m_rest = 0;
            m_head[m_size++] = static_cast<unsigned char>(bytes.front());
            bytes.remove_prefix(1);
            if (IsComplete())
                found(TakeId());
        }
    }

private:
    static constexpr unsigned char SEQUENCE = 0x30, INTEGER = 0x02, LONG_FORM = 0x80;

    /// The longest start of a message: its tag and its length, and then those of its number with
    /// the number.
    static constexpr std::size_t LONGEST_LENGTH = 8, LONGEST_ID = 4;
    static constexpr std::size_t LONGEST_HEAD = 2 + LONGEST_LENGTH + 2 + LONGEST_ID;

    /// The bytes that follow the first one of a length.
    std::size_t GetMore() const { return m_head[1] < LONG_FORM ? 0 : m_head[1] - LONG_FORM; }

    /// True if the start of a message is there.
    bool IsComplete() {
        const std::size_t id = 2 + (m_size > 1 ? GetMore() : 0); // where its number begins
        m_is_lost = m_head[0] != SEQUENCE || id > 2 + LONGEST_LENGTH ||
                    (m_size > id && m_head[id] != INTEGER) ||
                    (m_size > id + 1 && (m_head[id + 1] == 0 || m_head[id + 1] > LONGEST_ID));
        return !m_is_lost && m_size > id + 1 && m_size == id + 2 + m_head[id + 1];
    }

    std::uint32_t TakeId() {
        const std::size_t at = 2 + GetMore();
        std::uint64_t length = GetMore() == 0 ? m_head[1] : Number(2, at);
        const std::size_t size = m_size - at;
        m_is_lost = length < size;
        m_rest = length - size;
        const auto id = static_cast<std::uint32_t>(Number(at + 2, m_size));
        m_size = 0;
        return id;
    }

    std::uint64_t Number(std::size_t begin, std::size_t end) const {
        std::uint64_t number = 0;
        for (std::size_t i = begin; i < end; ++i)
            number = number << 8 | m_head[i];
        return number;
    }

    std::array<unsigned char, LONGEST_HEAD> m_head{};
    std::size_t m_size = 0;   ///< of the start of a message, as far as it was read
    std::uint64_t m_rest = 0; ///< bytes of the message that follow
    bool m_is_lost = false;
};

} // namespace kwlookup
