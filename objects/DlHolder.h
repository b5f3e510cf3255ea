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

    /// Gives the handle up, unclosed.
    void* Release() noexcept;

    /// The address of `symbol`, which may be null: whether it is there, the loader's error tells.
    /// Throws std::domain_error "Cannot resolve 'SYMBOL' from a shared library NAME because REASON"
    /// with `name` for NAME.
    void* Resolve(const char* symbol, const std::string& name) const;

    /// Takes over the handle of `other`, which is then empty. This one must be empty before.
    void TakeFrom(DlHolder& other) noexcept;

private:
    void* m_handle;
};
