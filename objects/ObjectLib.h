// SPDX-License-Identifier: MIT
#pragma once

#include "objects/DlHolder.h"
#include "objects/KwObjectHolder.h"

#include <string>

/// A plug-in library of the process. Never closed: objects that it made may be alive anywhere.
class __attribute__((visibility("hidden"))) KwObjectHolder::ObjectLib {
public:
    explicit ObjectLib(const std::string& name) : m_name(name) {}
    ~ObjectLib() { m_dl.Release(); }

    bool IsEquel(const std::string& name) const { return name == m_name; }

    DlHolder m_dl;
    std::string m_name; ///< the type that it serves, in lower case
    bool m_config_loaded = false;
};
