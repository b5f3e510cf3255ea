// SPDX-License-Identifier: MIT
#pragma once

#include <string>

/// Owns a handle that dlopen returned, and closes it.
class DlHolder {
public:
    explicit DlHolder(void* handle = nullptr) : m_handle(handle) {}
    DlHolder(const DlHolder&) = delete;
    DlHolder& operator=(const DlHolder&) = delete;
    virtual ~DlHolder();

    void* Get() const { return m_handle; }

    /// Returns the handle without closing it. This object is empty afterwards.
    void* Release() noexcept;

    /// Returns the address of `symbol`, which may be null. When the library lacks it, throws
    /// std::domain_error "Cannot resolve 'SYMBOL' from a shared library NAME because REASON", where
    /// NAME is `name`.
    void* Resolve(const char* symbol, const std::string& name) const;

    /// Takes over the handle of `other` and leaves that one empty. This object must be empty.
    void TakeFrom(DlHolder& other) noexcept;

private:
    void* m_handle;
};
