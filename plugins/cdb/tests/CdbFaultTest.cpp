// SPDX-License-Identifier: MIT
#include "families/files/tests/FileBytesFaultTest.h"

INSTANTIATE_TEST_SUITE_P(Formats, FileBytesFaultTest, testing::Values("cdb"),
                         [](const auto& test) { return std::string(test.param); });
