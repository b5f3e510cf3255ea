// SPDX-License-Identifier: MIT
#include "families/patterns/tests/PatternThreadsTest.h"

TEST_F(PatternThreadsTest, AskRegexAtOnce) {
    AskAtOnce("regex:SearchTime=60000|Result=$1|^user([0-9]+)@, regex:^(z+)+$");
}

TEST_F(PatternThreadsTest, AskRegexBesideReloads) {
    AskBesideReloads("regex", "regex:SearchTime=60000|OnError=ignore|Result=local|^user", "local");
}
