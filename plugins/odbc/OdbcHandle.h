// SPDX-License-Identifier: MIT
#pragma once

#include <sql.h>
#include <stdexcept>
#include <string>

namespace kwlookup {

/// `text` as a parameter of ODBC's functions, which do not change it.
inline SQLCHAR* OdbcText(const std::string& text) {
    return reinterpret_cast<SQLCHAR*>(const_cast<char*>(text.data()));
}

/// A handle of the driver manager.
template <SQLSMALLINT TYPE>
class OdbcHandle {
public:
    /// Throws std::runtime_error if the driver manager cannot make one, for example without memory.
    explicit OdbcHandle(SQLHANDLE parent) {
        if (!SQL_SUCCEEDED(::SQLAllocHandle(TYPE, parent, &m_handle)))
            throw std::runtime_error("the driver manager cannot make a handle");
    }
    ~OdbcHandle() { ::SQLFreeHandle(TYPE, m_handle); }
    OdbcHandle(const OdbcHandle&) = delete;
    OdbcHandle& operator=(const OdbcHandle&) = delete;

    SQLHANDLE Get() const { return m_handle; }

private:
    SQLHANDLE m_handle = SQL_NULL_HANDLE;
};

} // namespace kwlookup
