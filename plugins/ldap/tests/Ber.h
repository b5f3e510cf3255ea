// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

/// Reads and writes BER (ITU-T X.690) independently, to check what the client library wrote.
namespace ber {

constexpr unsigned char INTEGER = 0x02;
constexpr unsigned char OCTETS = 0x04;
constexpr unsigned char ENUMERATED = 0x0a;
constexpr unsigned char SEQUENCE = 0x30;
constexpr unsigned char SET = 0x31;
constexpr unsigned char CONSTRUCTED = 0x20;

/// An element, with the elements that it contains.
struct Node {
    int depth;
    unsigned char tag;
    std::string bytes; ///< the content of an element that contains no others
};

/// Remove the tag and the length of an element from the start of `text`. False if they are
/// incomplete.
inline bool TakeHead(std::string_view& text, unsigned char& tag, std::size_t& length) {
    std::string_view rest = text;
    const auto take = [&rest] {
        const auto byte = static_cast<unsigned char>(rest.front());
        rest.remove_prefix(1);
        return byte;
    };
    if (rest.size() < 2)
        return false;
    tag = take();
    length = take();
    if (length >= 0x80) {
        std::size_t bytes = length - 0x80;
        if (rest.size() < bytes)
            return false;
        for (length = 0; bytes > 0; --bytes)
            length = length * 256 + take();
    }
    text = rest;
    return true;
}

/// The size of the first element of `text`, or 0 if it is incomplete.
inline std::size_t SizeOfFirst(std::string_view text) {
    const std::size_t size = text.size();
    unsigned char tag = 0;
    std::size_t length = 0;
    if (!TakeHead(text, tag, length) || text.size() < length)
        return 0;
    return size - text.size() + length;
}

inline void Read(std::string_view text, int depth, std::vector<Node>& nodes) {
    while (!text.empty()) {
        unsigned char tag = 0;
        std::size_t length = 0;
        if (!TakeHead(text, tag, length) || text.size() < length)
            throw std::runtime_error("an element without its end");
        const bool constructed = (tag & CONSTRUCTED) != 0;
        nodes.push_back({depth, tag, constructed ? "" : std::string(text.substr(0, length))});
        if (constructed)
            Read(text.substr(0, length), depth + 1, nodes);
        text.remove_prefix(length);
    }
}

/// Parse `text`.
inline std::vector<Node> Read(std::string_view text) {
    std::vector<Node> nodes;
    Read(text, 0, nodes);
    return nodes;
}

inline std::string Write(unsigned char tag, std::string_view content) {
    std::string text(1, static_cast<char>(tag));
    if (content.size() < 0x80) {
        text += static_cast<char>(content.size());
    } else {
        text += '\x84';
        for (const int shift : {24, 16, 8, 0})
            text += static_cast<char>(content.size() >> shift & 0xff);
    }
    return text += content;
}

} // namespace ber
