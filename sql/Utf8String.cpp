// SPDX-License-Identifier: MIT
#include "sql/Utf8String.h"

Utf8String::Utf8String(const char* text) : m_text(text) {}

Utf8String::~Utf8String() = default;
