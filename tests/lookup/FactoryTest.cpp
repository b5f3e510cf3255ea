// SPDX-License-Identifier: MIT
#include "lookup/KwFactory.h"
#include "lookup/KwIfLookup.h"
#include "lookup/builtin/KwFileLookup.h"
#include "lookup/builtin/KwStrLookup.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

namespace {

KwFactory<KwIfLookup>& Registry() {
    return KwFactory<KwIfLookup>::Instance();
}

KwIfLookup* MakeString(const std::string& text) {
    return new KwStrLookup(text);
}

TEST(Factory, HasOneInstance) {
    EXPECT_EQ(&Registry(), &Registry());
}

TEST(Factory, KnowsTwelveTypes) {
    EXPECT_THAT(
        Registry().GetNames(),
        ::testing::IsSupersetOf({"berkeley", "cdb", "file", "firebird", "ldap", "mysql", "odbc",
                                 "oracle", "postgres", "regex", "rfile", "sqlite"}));
    const std::vector<std::string> names = Registry().GetNames();
    EXPECT_TRUE(std::is_sorted(names.begin(), names.end()));
    for (const std::string& name : names) {
        const LookupCreator* creator = Registry().Lookup(name);
        ASSERT_NE(creator, nullptr) << name;
        EXPECT_EQ(*creator, name == "file" ? &KwFileLookup::Create : nullptr) << name;
    }
}

TEST(Factory, ComparesNamesByteByByte) {
    for (const char* name : {"FILE", "File", "file ", " file", "fil", "files", "", "value"})
        EXPECT_EQ(Registry().Lookup(name), nullptr) << name;
}

TEST(Factory, KeepsTheFirstCreatorOfAName) {
    EXPECT_TRUE(Registry().Register("file", MakeString));
    EXPECT_EQ(*Registry().Lookup("file"), &KwFileLookup::Create);
    EXPECT_TRUE(Registry().Register("mysql", MakeString));
    EXPECT_EQ(*Registry().Lookup("mysql"), nullptr);
    EXPECT_TRUE(Registry().Register("file", nullptr));
    EXPECT_EQ(*Registry().Lookup("file"), &KwFileLookup::Create);
}

TEST(Factory, MakesAnEmptyFileLookup) {
    const std::unique_ptr<KwIfLookup> lookup((*Registry().Lookup("file"))("/etc/passwd"));
    const auto* file = dynamic_cast<const KwFileLookup*>(lookup.get());
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(file->GetCount(), 0U);
    EXPECT_EQ(file->GetDescription(), "");
    EXPECT_EQ(file->GetLogPtr(), nullptr);
}

} // namespace
