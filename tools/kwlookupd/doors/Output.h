// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
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
        m_size += body->size();
        m_bodies.push_back({m_bytes.size(), std::move(body)});
    }

    std::size_t GetSize() const { return m_size; }
    bool IsEmpty() const { return m_size == 0; }

    /// Returns the pieces in order. They are valid until the next change.
    std::vector<std::string_view> GetPieces() const {
        std::vector<std::string_view> pieces;
        std::size_t begin = 0;
        for (const Body& body : m_bodies) {
            pieces.emplace_back(m_bytes.data() + begin, body.place - begin);
            pieces.emplace_back(*body.text);
            begin = body.place;
        }
        pieces.emplace_back(m_bytes.data() + begin, m_bytes.size() - begin);
        return pieces;
    }

    /// Forget all bytes, and keep the memory of the small ones.
    void Clear() {
        m_bytes.clear();
        m_bodies.clear();
        m_size = 0;
    }

private:
    struct Body {
        std::size_t place; ///< the number of bytes of m_bytes before it
        std::shared_ptr<const std::string> text;
    };

    std::string m_bytes;
    std::vector<Body> m_bodies;
    std::size_t m_size = 0;
};

} // namespace kwlookup
