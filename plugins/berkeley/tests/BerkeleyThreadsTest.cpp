// SPDX-License-Identifier: MIT
#include "families/files/tests/RewrittenFileTest.h"

INSTANTIATE_TEST_SUITE_P(Formats, DatabaseThreadsTest, testing::Values("hash", "btree"),
                         [](const auto& test) { return std::string(test.param); });

INSTANTIATE_TEST_SUITE_P(Formats, RewrittenFileTest, testing::Values("hash", "btree"),
                         [](const auto& test) { return std::string(test.param); });
