// SPDX-License-Identifier: MIT
#pragma once

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

    /// Takes over the handle of `other`, which is then empty. This one must be empty before.
    void TakeFrom(DlHolder& other) noexcept;

private:
    void* m_handle;
};
