// SPDX-License-Identifier: MIT
#include "families/patterns/tests/PatternThreadsTest.h"

TEST_F(PatternThreadsTest, AskRegexAtOnce) {
    AskAtOnce("regex:Result=$1|^user([0-9]+)@, regex:^(z+)+$");
}

TEST_F(PatternThreadsTest, AskRegexBesideReloads) {
    AskBesideReloads("regex", "regex:OnError=ignore|Result=local|^user", "local");
}
