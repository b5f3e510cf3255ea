// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kwlookup {

/// Bytes to send to a client, in order. A large body can be shared by many outputs.
class Output {
public:
    void Append(std::string_view bytes) {
        m_bytes.append(bytes);
        m_size += bytes.size();
    }
    void Append(std::shared_ptr<const std::string> body) {
        if (body->empty())
            return;
        m_size += body->size();
        m_bodies.push_back({m_bytes.size(), 0, std::move(body)});
    }
    /// Appends what is left of another output.
    void Append(const Output& other) {
        std::size_t begin = other.m_begin;
        for (const Body& body : other.m_bodies) {
            Append(std::string_view(other.m_bytes).substr(begin, body.place - begin));
            m_size += body.text->size() - body.sent;
            m_bodies.push_back({m_bytes.size(), body.sent, body.text});
            begin = body.place;
        }
        Append(std::string_view(other.m_bytes).substr(begin));
    }

    std::size_t GetSize() const { return m_size; }
    bool IsEmpty() const { return m_size == 0; }

    /// Returns the first bytes: all up to a shared body, or what is left of that. They are valid
    /// until the next change.
    std::string_view GetFirst() const {
        if (m_bodies.empty())
            return std::string_view(m_bytes).substr(m_begin);
        const Body& body = m_bodies.front();
        if (body.place > m_begin)
            return std::string_view(m_bytes).substr(m_begin, body.place - m_begin);
        return std::string_view(*body.text).substr(body.sent);
    }
    /// Removes `count` bytes of GetFirst().
    void Remove(std::size_t count) {
        m_size -= count;
        if (m_bodies.empty() || m_bodies.front().place > m_begin) {
            m_begin += count;
            return;
        }
        Body& body = m_bodies.front();
        body.sent += count;
        if (body.sent == body.text->size())
            m_bodies.erase(m_bodies.begin());
    }

    /// Returns all pieces in order. They are valid until the next change.
    std::vector<std::string_view> GetPieces() const {
        std::vector<std::string_view> pieces;
        std::size_t begin = m_begin;
        for (const Body& body : m_bodies) {
            pieces.push_back(std::string_view(m_bytes).substr(begin, body.place - begin));
            pieces.push_back(std::string_view(*body.text).substr(body.sent));
            begin = body.place;
        }
        pieces.push_back(std::string_view(m_bytes).substr(begin));
        return pieces;
    }

    /// Removes all bytes, and keeps the memory of the small ones.
    void Clear() {
        m_bytes.clear();
        m_bodies.clear();
        m_begin = 0;
        m_size = 0;
    }

private:
    struct Body {
        std::size_t place; ///< the number of bytes of m_bytes before it
        std::size_t sent;  ///< that have been removed
        std::shared_ptr<const std::string> text;
    };

    std::string m_bytes;
    std::size_t m_begin = 0; ///< the bytes before it have been removed
    std::vector<Body> m_bodies;
    std::size_t m_size = 0;
};

} // namespace kwlookup
