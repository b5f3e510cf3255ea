// SPDX-License-Identifier: MIT
#include "objects/DlHolder.h"

#include <dlfcn.h>
#include <utility>

DlHolder::~DlHolder() {
    if (m_handle)
        ::dlclose(m_handle);
    m_handle = nullptr;
}

void* DlHolder::Release() noexcept {
    return std::exchange(m_handle, nullptr);
}

void DlHolder::TakeFrom(DlHolder& other) noexcept {
    m_handle = other.Release();
}
