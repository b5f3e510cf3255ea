// SPDX-License-Identifier: MIT
#include "families/files/tests/DatabaseThreadsTest.h"

INSTANTIATE_TEST_SUITE_P(Formats, DatabaseThreadsTest, testing::Values("sqlite"),
                         [](const auto& test) { return std::string(test.param); });
