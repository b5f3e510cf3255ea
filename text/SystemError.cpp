// SPDX-License-Identifier: MIT
#include "text/SystemError.h"

#include <cstring>

namespace kwlookup {

namespace {

// There are two functions strerror_r: that of POSIX fills the buffer, that of GNU returns the text.

[[maybe_unused]] const char* TextFrom(int, const char* buffer) {
    return buffer;
}

[[maybe_unused]] const char* TextFrom(const char* text, const char*) {
    return text;
}

} // namespace

std::string SystemErrorText(int error_number) {
    char buffer[256] = "";
    return TextFrom(::strerror_r(error_number, buffer, sizeof(buffer)), buffer);
}

} // namespace kwlookup
