// SPDX-License-Identifier: MIT
#include "families/patterns/tests/PatternThreadsTest.h"

TEST_F(PatternThreadsTest, AskRfileAtOnce) {
    AskAtOnce("rfile:SearchTime=60000|" +
              m_dir.Write("patterns", "/^user([0-9]+)@corp/ $1\n^(z+)+$\nother\n"));
}

TEST_F(PatternThreadsTest, AskRfileBesideReloads) {
    AskBesideReloads("rfile", "rfile:SearchTime=60000|" + m_dir.Write("patterns", "/^user/ file\n"),
                     "file");
}
