// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <ibase.h>
#include <memory>

namespace kwlookup {

/// The client library's description of values, which is as long as there are values.
class Sqlda {
public:
    explicit Sqlda(short values)
        : m_bytes(new std::byte[XSQLDA_LENGTH(static_cast<std::size_t>(values))]()) {
        Get()->version = SQLDA_VERSION1;
        Get()->sqln = values;
    }

    XSQLDA* Get() const { return reinterpret_cast<XSQLDA*>(m_bytes.get()); }
    /// How many values there are, which may be more than it describes.
    short Size() const { return Get()->sqld; }
    bool IsWhole() const { return Get()->sqld <= Get()->sqln; }
    XSQLVAR& operator[](short i) const { return Get()->sqlvar[i]; }

private:
    std::unique_ptr<std::byte[]> m_bytes;
};

} // namespace kwlookup
