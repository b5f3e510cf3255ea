// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <ibase.h>
#include <memory>

namespace kwlookup {

/// The client library's description of values, with room for a given number of them.
class Sqlda {
public:
    explicit Sqlda(short values)
        : m_bytes(new std::byte[XSQLDA_LENGTH(static_cast<std::size_t>(values))]()) {
        Get()->version = SQLDA_VERSION1;
        Get()->sqln = values;
    }

    XSQLDA* Get() const { return reinterpret_cast<XSQLDA*>(m_bytes.get()); }
    /// The number of values, which may be more than there is room for.
    short Size() const { return Get()->sqld; }
    /// True if there is room for all values.
    bool IsWhole() const { return Get()->sqld <= Get()->sqln; }
    XSQLVAR& operator[](short i) const { return Get()->sqlvar[i]; }

private:
    std::unique_ptr<std::byte[]> m_bytes;
};

} // namespace kwlookup
