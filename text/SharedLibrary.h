// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace kwlookup {

/// A library that is opened at run time, for one that cannot be linked. It stays open until the
/// process ends: its threads may run until then.
///
/// Threads: any.
class SharedLibrary {
public:
    /// Opens the file `name`; without a '/' the system's loader looks for it. Throws
    /// std::runtime_error with the loader's reason, which contains the name.
    explicit SharedLibrary(const std::string& name);

    /// Sets `function` to the library's function `name`. Throws std::runtime_error "LIBRARY has no
    /// function NAME".
    template <typename Function>
    void Resolve(Function*& function, const char* name) const {
        function = reinterpret_cast<Function*>(Find(name));
    }

private:
    void* Find(const char* name) const;

    std::string m_name;
    void* m_handle;
};

} // namespace kwlookup
