// SPDX-License-Identifier: MIT
#include "text/SharedLibrary.h"

#include <dlfcn.h>
#include <stdexcept>

namespace kwlookup {

SharedLibrary::SharedLibrary(const std::string& name)
    : m_name(name), m_handle(::dlopen(name.c_str(), RTLD_NOW | RTLD_LOCAL)) {
    if (!m_handle)
        throw std::runtime_error(::dlerror());
}

void* SharedLibrary::Find(const char* name) const {
    if (void* const address = ::dlsym(m_handle, name))
        return address;
    throw std::runtime_error(m_name + " has no function " + name);
}

} // namespace kwlookup
