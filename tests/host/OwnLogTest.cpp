// SPDX-License-Identifier: MIT
#include "host/OwnLog.h"

#include "host/LogClass.h"
#include "lookup/KwLookupHolder.h"
#include "support/CapturedStandardError.h"
#include "support/TempDir.h"
#include "support/TextFinder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

// Linked twice: with OwnLog.cpp in the program, and with a libkwlog.so built from it.

namespace {

TEST(OwnLog, TheLibraryWritesToTheFacadeOfTheHost) {
    const TempDir dir;
    const std::string file = dir.Write("list", "a\nb\n");
    const CapturedStandardError captured;
    const LogClass log("host");
    OwnLogLines();
    KwLookupHolder holder(log);
    holder.Init("file:" + file + ", file:/no/such/list");
    EXPECT_TRUE(holder.Find(TextFinder("b"), nullptr, 0, nullptr));

    EXPECT_THAT(
        OwnLogLines(),
        testing::ElementsAre(
            "5 host KwObjectHolder: Success create lookup with name 'file' and params '" + file +
                "'",
            "5 host KwFileLookup: loaded 2 records from " + file + " file.",
            "5 host KwObjectHolder: Success create lookup with name 'file' and params "
            "'/no/such/list'",
            "2 host Error in init lookup [file:/no/such/list]: Can not load file '/no/such/list': "
            "No such file or directory",
            "5 host KwLookupHolder::Find: found b matched with b (from " + file + ")"));
    EXPECT_EQ(captured.GetText(), "") << "the facade that was replaced writes nothing";
}

} // namespace
