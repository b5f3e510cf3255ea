// SPDX-License-Identifier: MIT
#pragma once

#include "host/KwExport.h"

#include <cstddef>
#include <string>

/// A copy of a text in UTF-8, the encoding that databases expect. Does not check the encoding.
class KW_EXPORT Utf8String {
public:
    /// Copies `text`, which ends with a NUL.
    explicit Utf8String(const char* text);
    ~Utf8String();
    /// Copies the text.
    Utf8String(const Utf8String&) = default;
    /// Copies the text.
    Utf8String& operator=(const Utf8String&) = default;

    /// Returns the text, ending with a NUL. Valid until this object is assigned to or destroyed.
    const char* c_str() const { return m_text.c_str(); }

    /// Returns the length in bytes.
    std::size_t size() const { return m_text.size(); }

private:
    std::string m_text;
};
