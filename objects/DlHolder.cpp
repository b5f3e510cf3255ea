// SPDX-License-Identifier: MIT
#include "objects/DlHolder.h"

#include <dlfcn.h>
#include <stdexcept>
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

void* DlHolder::Resolve(const char* symbol, const std::string& name) const {
    ::dlerror();
    void* address = ::dlsym(m_handle, symbol);
    if (const char* error = ::dlerror())
        throw std::domain_error(std::string("Cannot resolve '") + symbol +
                                "' from a shared library " + name + " because " + error);
    return address;
}
