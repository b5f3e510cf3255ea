// SPDX-License-Identifier: MIT
#include "support/PseudoTerminal.h"
#include "support/TempDir.h"
#include "tools/Tool.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace {

using namespace std::string_literals;
using testing::HasSubstr;
using testing::StartsWith;

class ToolStore : public testing::Test {
protected:
    ToolStore() { Sql("create table seen (address text, count integer unique)"); }

    std::string Sql(const std::string& statements) const {
        return RunProgram({SQLITE_TOOL, "-bail", m_name, statements}).out;
    }

    std::string Item(const std::string& settings = "") const {
        return "\"sqlite:" + settings + "Database=" + m_name +
               "|insert into seen values (:address<varchar>, :count<int>)\"";
    }

    static std::string Line(int count, const std::string& address = "a") {
        return "{\"address\":\"" + address + "\",\"count\":" + std::to_string(count) + "}\n";
    }

    static std::string Lines(int first, int last) {
        std::string lines;
        for (int i = first; i <= last; ++i)
            lines += Line(i);
        return lines;
    }

    const TempDir m_dir;
    const std::string m_name = m_dir.Path("seen.db");
};

TEST_F(ToolStore, StoresARecord) {
    EXPECT_EQ(RunTool({"store", Item(), "address=o'brien=x", "count=7"}),
              (ProgramResult{Found, "1 record\n", ""}));
    EXPECT_EQ(RunTool({"store", Item(), "address=\xff\n", "count=-8"}).status, Found);
    EXPECT_EQ(Sql("select hex(address), count from seen"), "6F27627269656E3D78|7\nFF0A|-8\n");
    const ProgramResult result = RunTool({"store", Item(), "address=a", "count=x"});
    EXPECT_EQ(result.status, Unavailable);
    EXPECT_EQ(result.out, "");
    EXPECT_THAT(result.err, HasSubstr("could not store the record: 'count' is not an int\n"));
    EXPECT_EQ(Sql("select count(*) from seen"), "2\n");
}

TEST_F(ToolStore, StoresTheLinesOfStandardInput) {
    const std::string large(1 << 20, 'x');
    EXPECT_EQ(RunTool({"store", Item(), "-"},
                      Lines(1, 2500) + "\n \t\r\n" + Line(9001, "j\xc3\xb6rg") +
                          "{\"count\" : \"9002\", \"address\":\"\\u00e9\", \"more\":1.50}\r\n" +
                          Line(9003, large) + "{\"address\":1.50,\"count\":9004}"),
              (ProgramResult{Found, "2504 records\n", ""}));
    EXPECT_EQ(Sql("select count(*), sum(count) from seen where count <= 2500"), "2500|3126250\n");
    EXPECT_EQ(Sql("select address from seen where count > 9000 and count != 9003"),
              "j\xc3\xb6rg\n\xc3\xa9\n1.50\n");
    EXPECT_EQ(Sql("select length(address) from seen where count = 9003"), "1048576\n");
    EXPECT_EQ(RunTool({"store", Item(), "-"}, ""), (ProgramResult{Found, "0 records\n", ""}));
}

TEST_F(ToolStore, AFailureTellsTheLineToGoOnFrom) {
    // In the second transaction.
    ProgramResult result =
        RunTool({"store", Item(), "-"}, Lines(1, 1499) + Line(7) + Lines(1500, 3000));
    EXPECT_EQ(result.status, Unavailable);
    EXPECT_EQ(result.out, "");
    EXPECT_THAT(result.err, HasSubstr("could not store line 1500: " + m_name +
                                      ": UNIQUE constraint failed: seen.count\n"));
    EXPECT_THAT(result.err, HasSubstr("continue from line 1001\n"));
    EXPECT_EQ(Sql("select count(*), max(count) from seen"), "1000|1000\n");
    // What cannot be read stops it where it stands.
    struct Case {
        std::string line;
        std::string reason;
    };
    const Case cases[] = {
        {"{\"address\":\"a\",\"count\":null}", "'count' is neither a text nor a number"},
        {"{\"address\":[\"a\"],\"count\":1}", "'address' is neither a text nor a number"},
        {"{\"address\":{},\"count\":1}", "'address' is neither a text nor a number"},
        {"[]", "not an object"},
        {"7", "not an object"},
        {"{\"address\":\"a\",", "not JSON at byte 16: "},
        {"{\"address\":\"\xff\"}", "not JSON at byte 13: "},
        {"{} {}", "not JSON at byte 4: "},
    };
    int count = 5000;
    for (const Case& test : cases) {
        result = RunTool({"store", Item(), "-"}, Line(++count) + test.line + "\n" + Line(9999));
        EXPECT_EQ(result.status, Unavailable);
        EXPECT_THAT(result.err, StartsWith("kwlookup: error: line 2: " + test.reason));
        EXPECT_THAT(result.err, HasSubstr("continue from line 2\n"));
    }
    EXPECT_EQ(Sql("select count(*) from seen where count > 5000"), "8\n");
}

TEST_F(ToolStore, EachLineIsARecordOfItsOwn) {
    // Records of the next transaction are read into the memory of the ones before.
    EXPECT_EQ(RunTool({"store", Item(), "-"},
                      Lines(1, 1000) + "{\"more\":\"x\",\"count\":2001,\"address\":\"\"}\n" +
                          "{\"count\":2002,\"address\":\"first\",\"address\":\"last\"}\n" +
                          "{\"count\":-0,\"address\":\"\\\\ \"}\n" +
                          Line(2004, std::string(5000, 'x')) + Lines(2005, 5000)),
              (ProgramResult{Found, "4000 records\n", ""}));
    EXPECT_EQ(Sql("select count, substr(address, 1, 5), length(address) from seen "
                  "where address != 'a' order by rowid"),
              "2001||0\n2002|last|4\n0|\\ |2\n2004|xxxxx|5000\n");
    struct Case {
        std::string line;
        std::string reason;
    };
    const Case cases[] = {
        {"{\"address\":\"b\"}\n", "could not store line 1001: 'count' is missing"},
        {"{\"address\":\"b\",\"count\":01}\n", "line 1001: not JSON at byte 25: "},
        {"{\"address\":\"b\",\"count\":-}\n", "line 1001: not JSON at byte 25: "},
        {"{\"address\":\"b\",\"count\":1}}\n", "line 1001: not JSON at byte 26: "},
        {"{\"address\":\"\t\",\"count\":1}\n", "line 1001: not JSON at byte 13: "},
        {"{\"address\":\"\xc0\x80\",\"count\":1}\n", "line 1001: not JSON at byte 13: "},
        {"{\"address\":\"b\",\"count\":99999999999999999999}\n",
         "could not store line 1001: 'count' is not an int"},
    };
    int first = 10000;
    for (const Case& test : cases) {
        const ProgramResult result =
            RunTool({"store", Item(), "-"}, Lines(first, first + 999) + test.line);
        EXPECT_EQ(result.status, Unavailable);
        EXPECT_THAT(result.err, HasSubstr(test.reason)) << test.line;
        EXPECT_THAT(result.err, HasSubstr("continue from line 1001\n"));
        first += 1000;
    }
}

TEST_F(ToolStore, EveryItemIsStoredInto) {
    Sql("create table other (address text)");
    const std::string list =
        Item() + ", sqlite:Database=" + m_name + "|insert into other values (:address<varchar>)";
    EXPECT_EQ(RunTool({"store", list, "-"}, Lines(1, 3)).status, Found);
    const ProgramResult result = RunTool({"store", list, "-"}, Lines(4, 5) + Line(1));
    EXPECT_EQ(result.status, Unavailable);
    EXPECT_THAT(result.err, HasSubstr("could not store line 3: "));
    EXPECT_THAT(result.err, HasSubstr("]: continue from line 1\n"));
    EXPECT_THAT(result.err, HasSubstr("]: continue from line 4\n"));
    EXPECT_EQ(Sql("select (select count(*) from seen), (select count(*) from other)"), "3|6\n");
}

TEST_F(ToolStore, AListWithErrorsStoresNothing) {
    struct Case {
        std::string list;
        std::string error;
    };
    const Case cases[] = {
        {Item() + ", x", "Error in init storage [x]: a literal value cannot be stored into"},
        {Item() + ", ldap:x", "this type cannot be stored into"},
        {Item() + ", \"sqlite:Database=" + m_name + "|select a from seen where b = '$s'\"",
         "wait insert into TABLE values"},
        {"", "the list has no items to store into"},
        {"\"x", "cannot be read"},
    };
    for (const Case& test : cases) {
        const ProgramResult result = RunTool({"store", test.list, "address=a", "count=1"});
        EXPECT_EQ(result.status, BadList) << test.list;
        EXPECT_THAT(result.err, HasSubstr(test.error));
    }
    EXPECT_EQ(Sql("select count(*) from seen"), "0\n");
    for (const std::vector<std::string>& values :
         {std::vector<std::string>{}, {"address"}, {"address=a", "-"}, {"-", "-"}}) {
        std::vector<std::string> arguments{"store", Item()};
        arguments.insert(arguments.end(), values.begin(), values.end());
        EXPECT_EQ(RunTool(arguments).status, Usage);
    }
}

TEST_F(ToolStore, AnErrorIsOneWhateverOnErrorSays) {
    EXPECT_EQ(RunTool({"store", Item("OnError=ignore|"), "address=a"}).status, Unavailable);
}

TEST_F(ToolStore, AFullDiskIsAnErrorLikeOthers) {
    const ProgramResult result = RunToolInShell(
        "ulimit -f 40; yes '{\"address\":\"jdoe@corp.lan\",\"count\":\"1\"}' | head -n 20000 | "
        "awk '{ gsub(\"\\\"1\\\"\", NR); print }' | \"$@\"",
        {"store", Item(), "-"});
    EXPECT_EQ(result.status, Unavailable);
    EXPECT_THAT(result.err, HasSubstr("could not store line"));
    EXPECT_THAT(result.err, HasSubstr("continue from line "));
    const std::string next_line = result.err.substr(result.err.find("continue from line ") + 19);
    EXPECT_EQ(Sql("select count(*) + 1 from seen"), next_line);
}

TEST_F(ToolStore, ATerminalShowsHowFarItIs) {
    if (!HavePseudoTerminals())
        GTEST_SKIP() << "no pseudo terminal can be had";
    const ProgramResult shown = RunToolInShell(
        "export TOOL=\"$1\" LIST=\"$3\"; script -qec '\"$TOOL\" store \"$LIST\" - < " +
            m_dir.Write("in", Lines(1, 1500)) + "' /dev/null",
        {"store", Item()});
    EXPECT_THAT(shown.out, HasSubstr("\r1000 records\r1500 records\r\x1b[K1500 records\r\n"));
}

} // namespace
