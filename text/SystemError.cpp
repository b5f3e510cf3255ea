// SPDX-License-Identifier: MIT
#include "text/SystemError.h"

#include <cstring>

std::string SystemErrorText(int error_number) {
    char buffer[256];
    return strerror_r(error_number, buffer, sizeof(buffer));
}
