// SPDX-License-Identifier: MIT
// The plug-in cdb on files made with the tool cdb(1).
#include "families/files/tests/KeyValuePluginsTest.h"

#include <unistd.h>

#include <random>

namespace {

INSTANTIATE_TEST_SUITE_P(Formats, KeyValuePluginsTest, testing::Values("cdb"),
                         [](const auto& test) { return std::string(test.param); });

class CdbPluginTest : public DatabaseTest {};

TEST_F(CdbPluginTest, AnyCorruptionIsSurvived) {
    Records records;
    for (int i = 0; i < 30; ++i)
        records.emplace_back("key" + std::to_string(i % 20), "value" + std::to_string(i));
    const std::string name = m_dir.Path("table");
    MakeKeyValueFile("cdb", name, records);
    const std::string bytes = ReadAll(name);
    std::mt19937 random(20261121);
    int errors = 0, answers = 0;
    for (int round = 0; round < 3000; ++round) {
        std::string corrupt = bytes;
        for (unsigned i = random() % 8 + 1; i > 0; --i)
            corrupt[random() % corrupt.size()] = static_cast<char>(random());
        ::unlink(name.c_str());
        m_dir.Write("table", corrupt);
        KwLookupHolder holder(m_log);
        holder.Init("cdb:OnError=exception|AllValues=yes|Database=" + name + "|$s");
        for (const char* key : {"key1", "key12", "none"}) {
            try {
                answers += Ask(holder, key).found;
            } catch (const std::runtime_error& error) {
                EXPECT_EQ(error.what(), name + ": not a valid cdb file");
                ++errors;
            }
        }
    }
    EXPECT_GT(errors, 0);
    EXPECT_GT(answers, 0);
}

} // namespace
