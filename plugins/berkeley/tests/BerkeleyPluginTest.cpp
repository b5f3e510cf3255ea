// SPDX-License-Identifier: MIT
// The plug-in berkeley on files made with Berkeley DB's tool.
#include "families/files/tests/KeyValuePluginsTest.h"
#include "support/RunProgram.h"

#include <unistd.h>

namespace {

INSTANTIATE_TEST_SUITE_P(Formats, KeyValuePluginsTest, testing::Values("hash", "btree"),
                         [](const auto& test) { return std::string(test.param); });

class BerkeleyPluginTest : public DatabaseTest {
protected:
    void Load(const std::vector<std::string>& options, const std::string& input) {
        std::vector<std::string> arguments{DB_LOAD_TOOL, "-T"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        arguments.push_back(m_name);
        const ProgramResult result = RunProgram(arguments, input);
        ASSERT_EQ(result.status, 0) << result.err;
    }

    const std::string m_name = m_dir.Path("table");
    const std::string m_item = "berkeley:OnError=exception|Database=" + m_name + "|$s";
};

TEST_F(BerkeleyPluginTest, OtherKindsOfFilesAreErrors) {
    Load({"-t", "recno"}, "a\nb\n");
    EXPECT_EQ(SearchError(m_item, "a"), m_name + ": neither a hash nor a btree");
}

TEST_F(BerkeleyPluginTest, AFileOfSeveralDatabasesIsAnError) {
    Load({"-t", "hash", "-c", "database=one"}, "a\n1\n");
    EXPECT_EQ(SearchError(m_item, "a"), m_name + ": holds several databases");
}

TEST_F(BerkeleyPluginTest, ADamagedPageFailsItsKeysOnly) {
    std::string input;
    for (int i = 100; i < 300; ++i)
        input += "key" + std::to_string(i) + "\nvalue" + std::to_string(i) + "\n";
    for (const char* type : {"hash", "btree"}) {
        SCOPED_TRACE(type);
        ::unlink(m_name.c_str());
        Load({"-t", type, "-c", "db_pagesize=512", "-c", "chksum=1"}, input);
        EXPECT_EQ(AskList(m_item, "key177").res, " value177");
        const auto before = OpenFiles();
        std::string bytes = ReadAll(m_name);
        bytes.at(bytes.find("value177")) ^= 1;
        m_dir.Write("table", bytes);
        {
            KwLookupHolder holder(m_log);
            holder.Init(m_item);
            for (int i = 0; i < 3; ++i) {
                EXPECT_EQ(Ask(holder, "key100").res, " value100");
                EXPECT_EQ(SearchError(holder, "key177"), m_name + ": not a valid Berkeley DB file");
            }
        }
        EXPECT_EQ(OpenFiles(), before);
    }
}

TEST_F(BerkeleyPluginTest, FilesInTheOtherByteOrderAnswer) {
    for (const char* type : {"hash", "btree"}) {
        SCOPED_TRACE(type);
        ::unlink(m_name.c_str());
        Load({"-t", type, "-c", "db_lorder=4321"}, "a\n1\nb\n2\n");
        EXPECT_EQ(AskList(m_item, "b").res, " 2");
        EXPECT_EQ(AskList(m_item, "c"), Miss());
        ::unlink(m_name.c_str());
        Load({"-t", type, "-c", "db_lorder=1234"}, "a\n1\nb\n2\n");
        EXPECT_EQ(AskList(m_item, "b").res, " 2");
    }
}

} // namespace
