// SPDX-License-Identifier: MIT
#pragma once

#include "host/KwExport.h"

#include <cstddef>
#include <string>

/// A text in UTF-8, as databases want it. Holds a copy; whether it is UTF-8 is not checked.
class KW_EXPORT Utf8String {
public:
    /// Copies `text`, which ends in a NUL.
    explicit Utf8String(const char* text);
    ~Utf8String();
    /// Copies the text.
    Utf8String(const Utf8String&) = default;
    /// Copies the text.
    Utf8String& operator=(const Utf8String&) = default;

    /// The text, ending in a NUL. Valid until the string is assigned to or destroyed.
    const char* c_str() const { return m_text.c_str(); }

    /// Its length in bytes.
    std::size_t size() const { return m_text.size(); }

private:
    std::string m_text;
};
