// SPDX-License-Identifier: MIT
#pragma once

#include <sql.h>
#include <stdexcept>
#include <string>

namespace kwlookup {

/// `text` as ODBC takes texts, which it does not change.
inline SQLCHAR* OdbcText(const std::string& text) {
    return reinterpret_cast<SQLCHAR*>(const_cast<char*>(text.data()));
}

/// A handle of the driver manager.
template <SQLSMALLINT TYPE>
class OdbcHandle {
public:
    /// Throws std::runtime_error when there is none, as for want of memory.
    explicit OdbcHandle(SQLHANDLE parent) {
        if (!SQL_SUCCEEDED(::SQLAllocHandle(TYPE, parent, &m_handle)))
            throw std::runtime_error("the driver manager gives no handle");
    }
    ~OdbcHandle() { ::SQLFreeHandle(TYPE, m_handle); }
    OdbcHandle(const OdbcHandle&) = delete;
    OdbcHandle& operator=(const OdbcHandle&) = delete;

    SQLHANDLE Get() const { return m_handle; }

private:
    SQLHANDLE m_handle = SQL_NULL_HANDLE;
};

} // namespace kwlookup
