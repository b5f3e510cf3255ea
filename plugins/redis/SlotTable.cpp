// SPDX-License-Identifier: MIT
#include "plugins/redis/SlotTable.h"

#include "families/servers/ServerFault.h"

#include <algorithm>

namespace kwlookup {
namespace {

/// CRC-16 with the polynomial 0x1021 and the initial value 0.
std::uint16_t Checksum(std::string_view bytes) {
    static const auto table = [] {
        std::array<std::uint16_t, 256> made{};
        for (unsigned byte = 0; byte < 256; ++byte) {
            unsigned value = byte << 8;
            for (int bit = 0; bit < 8; ++bit)
                value = value << 1 ^ (value & 0x8000 ? 0x1021u : 0u);
            made[byte] = static_cast<std::uint16_t>(value);
        }
        return made;
    }();
    unsigned value = 0;
    for (const char c : bytes)
        value = (value << 8 ^ table[(value >> 8 ^ static_cast<unsigned char>(c)) & 0xff]) & 0xffff;
    return static_cast<std::uint16_t>(value);
}

void Require(bool good) {
    if (!good)
        throw ServerFault("the table of slots cannot be read");
}

Server NodeOf(const RedisReply& reply, const Server& from) {
    Require(reply.elements.size() >= 2);
    const RedisReply& host = reply.elements[0];
    const long long port = reply.elements[1].integer;
    Require(port > 0 && port < 65536);
    Server node;
    // A node that does not know its own name sends an empty one, or "?".
    node.host = host.text.empty() || host.text == "?" ? from.host : host.text;
    node.port = static_cast<std::uint16_t>(port);
    Require(!node.host.empty() && node.host.find('\0') == std::string::npos);
    return node;
}

} // namespace

unsigned SlotTable::SlotOf(std::string_view key) {
    const std::size_t open = key.find('{');
    if (open != std::string_view::npos) {
        const std::size_t close = key.find('}', open + 1);
        if (close != std::string_view::npos && close > open + 1)
            key = key.substr(open + 1, close - open - 1);
    }
    return Checksum(key) % SLOTS;
}

SlotTable::SlotTable(const RedisReply& reply, const Server& from) : m_groups(1) {
    Require(reply.type == RedisReply::Type::Array && reply.elements.size() <= SLOTS);
    for (const RedisReply& range : reply.elements) {
        Require(range.elements.size() >= 3);
        const long long first = range.elements[0].integer;
        const long long last = range.elements[1].integer;
        Require(first >= 0 && last < SLOTS && first <= last);
        std::vector<Server> nodes;
        for (std::size_t i = 2; i < range.elements.size(); ++i)
            nodes.push_back(NodeOf(range.elements[i], from));
        std::fill(m_group_of.begin() + first, m_group_of.begin() + last + 1,
                  static_cast<std::uint16_t>(m_groups.size()));
        m_groups.push_back(std::move(nodes));
    }
}

std::vector<Server> SlotTable::GetAllNodes() const {
    std::vector<Server> all;
    for (const std::vector<Server>& nodes : m_groups)
        for (const Server& node : nodes)
            if (std::find(all.begin(), all.end(), node) == all.end())
                all.push_back(node);
    return all;
}

} // namespace kwlookup
