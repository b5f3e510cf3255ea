// SPDX-License-Identifier: MIT
#include "text/SystemError.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>

using namespace kwlookup;

TEST(SystemError, IsTheTextOfStrerror) {
    for (int error : {0, ENOENT, EACCES, EISDIR, EIO, 99999, -1})
        EXPECT_EQ(SystemErrorText(error), std::strerror(error));
}
