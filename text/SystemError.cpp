// SPDX-License-Identifier: MIT
#include "text/SystemError.h"

#include <cstring>

namespace kwlookup {

namespace {

// strerror_r is one of two functions: that of POSIX fills the buffer, GNU's returns the text.

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
