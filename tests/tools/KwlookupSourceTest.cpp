// SPDX-License-Identifier: MIT
#include "support/TempDir.h"
#include "tools/Tool.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <iterator>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace fs = std::filesystem;
using namespace std::string_literals;
using testing::HasSubstr;

namespace {

using namespace kwlookup;

class ToolSource : public testing::Test {
protected:
    std::string Warning(const std::string& text) const {
        return "kwlookup: warning: " + m_dir.Path("in") + ":" + text + "\n";
    }

    ProgramResult Build(std::vector<std::string> options, const std::string& text) const {
        options.insert(options.begin(), {"build", "cdb", m_dir.Write("in", text), m_out});
        return RunTool(options);
    }

    ProgramResult Convert(const std::string& text) const {
        return RunTool({"convert", "--from", "postmap", m_dir.Write("in", text)});
    }

    std::string Find(const std::string& key) const {
        return RunTool({"find", "cdb:OnError=exception|Database=" + m_out + "|$s", "-"}, key + "\n")
            .out;
    }

    ProgramResult Made(std::size_t records, const std::string& warning) const {
        return {Found,
                m_out + ": " + std::to_string(records) +
                    (records == 1 ? " record\n" : " records\n"),
                warning};
    }

    std::size_t FileCount() const {
        const fs::directory_iterator files(fs::path(m_out).parent_path());
        return static_cast<std::size_t>(std::distance(begin(files), end(files)));
    }

    const TempDir m_dir;
    const std::string m_out = m_dir.Path("out.cdb");
};

// The test expects what postmap(1) of version 3.7 made from this text, with the same warnings.
const char POSTMAP_TEXT[] = "# c\n  # c2\n  lead cont\nCont@x.lan first\n  second  line \t\n"
                            "# between\n  third\n\n  fourth\n\"two words\" v\n"
                            "\"q\\\"uo\\\\te\" v2\nnovalue@x.lan\ndup@x.lan one\nDup@x.lan two\n"
                            "\"open v\na\"b c\"d e\nalias: target\ncr@x val\r\n"
                            "\\ esc\\ aped x\n\"\" emptykey\n\"half\"rest v\nlast@x tail";

TEST_F(ToolSource, PostmapTextIsReadAsPostmapReadsIt) {
    EXPECT_EQ(
        Build({"--source=postmap"}, POSTMAP_TEXT),
        Made(11,
             Warning("3: there is no line before it to continue; it is left out") +
                 Warning("12: there is no value after the key 'novalue@x.lan'; it is left out") +
                 Warning("14: 'dup@x.lan' is already in line 13; this one is left out") +
                 Warning("15: a quote is left open in '\"open v'; it is left out") +
                 Warning("17: the colon is part of the key 'alias:'")));
    const std::vector<std::vector<std::string>> records = {
        {"cont@x.lan", "first  second  line \t  third  fourth"},
        {"\"two words\"", "v"},
        {"\"q\\\"uo\\\\te\"", "v2"},
        {"dup@x.lan", "one"},
        {"a\"b c\"d", "e"},
        {"alias:", "target"},
        {"cr@x", "val"},
        {"\\ esc\\ aped", "x"},
        {"\"\"", "emptykey"},
        {"\"half\"rest", "v"},
        {"last@x", "tail"},
    };
    for (const auto& record : records)
        EXPECT_EQ(
            RunTool({"find", "--json", "cdb:OnError=exception|Database=" + m_out + "|$s", "-"},
                    record[0] + "\n")
                .status,
            Found)
            << record[0];
    EXPECT_EQ(Find("cr@x"), "cr@x\tval\n");
    EXPECT_EQ(Find("dup@x.lan"), "dup@x.lan\tone\n");
    EXPECT_EQ(Find("\"two words\""), "\"two words\"\tv\n");
    for (const char* key : {"second", "novalue@x.lan", "lead", "\"two", "\"open"})
        EXPECT_EQ(Find(key), "") << key;
}

TEST_F(ToolSource, PostmapTextOfOddShapes) {
    EXPECT_EQ(Build({"--source", "postmap"}, ""), Made(0, ""));
    EXPECT_EQ(Build({"--source", "postmap"}, "\n \t\n#\n"), Made(0, ""));
    EXPECT_EQ(Build({"--source", "postmap"}, "a\n b"), Made(1, ""));
    EXPECT_EQ(Find("a"), "a\tb\n");
    EXPECT_EQ(Build({"--source", "postmap", "--keep-case"}, "A b\na c\n"), Made(2, ""));
    EXPECT_EQ(Build({"--source", "postmap"}, "a b\0c\nd e\n"s),
              Made(2, Warning("1: the line holds a NUL byte")));
    EXPECT_EQ(Find("a"), "a\tb\n");
    EXPECT_EQ(Build({"--source", "hash"}, "").status, Usage);
}

TEST_F(ToolSource, APostmapRecordOfManyLinesHasALimit) {
    constexpr std::size_t LIMIT = 16 << 20, LINE = 1 << 20;
    std::string text = "k v\n";
    for (std::size_t size = 3; size < LIMIT; size += LINE)
        text += " " + std::string(std::min(LINE, LIMIT - size) - 1, 'x') + "\n";
    EXPECT_EQ(Build({"--source=postmap"}, text), Made(1, ""));
    text.insert(text.size() - 1, "x");
    EXPECT_EQ(Build({"--source=postmap"}, text),
              (ProgramResult{Unavailable, "",
                             "kwlookup: error: " + m_dir.Path("in") +
                                 ":17: the record of line 1 is longer than 16777216 bytes\n"}));
}

TEST_F(ToolSource, PlainTextThatPostmapReadsDifferently) {
    const struct {
        std::string text;
        std::string warning;
    } cases[] = {
        {"a b\n c d\n",
         Warning("2: it begins with white space; 'c' is a key; with --source=postmap "
                 "the line would continue the one before")},
        {"\"two words\" v\n",
         Warning("1: quotes do not join words; the key is '\"two', unlike with "
                 "--source=postmap")},
        {"a\0b c\n"s, Warning("1: the line holds a NUL byte")},
        {"\xef\xbb\xbfkey v\n",
         Warning("1: a byte order mark is part of the first key; save the file without it")},
        {"\xff\xfeke\n", Warning("1: the file is in UTF-16; save it as UTF-8")},
        {"\"jdoe\"@x v\n\n  # c\na \"b c\n", ""},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.text);
        EXPECT_EQ(Build({}, test.text).err, test.warning);
        EXPECT_EQ(Build({"--warnings=off"}, test.text).err, "");
        const auto before = fs::last_write_time(m_out);
        const ProgramResult strict = Build({"--warnings=error"}, test.text);
        if (test.warning.empty())
            continue;
        EXPECT_EQ(strict.status, BadList);
        EXPECT_EQ(strict.err, test.warning + "kwlookup: error: " + m_out +
                                  ": not made, because warnings count as errors\n");
        EXPECT_EQ(fs::last_write_time(m_out), before);
        EXPECT_EQ(FileCount(), 2U);
    }
}

TEST_F(ToolSource, ConvertsToAListThatAnswersInTheSameOrder) {
    EXPECT_EQ(Convert("jdoe@ local\n.lan outer\nCorp.lan domain\n.corp.lan\n  inner\n"
                      "jdoe@corp.lan address\n@x.lan marked, \"as\" \\is\n"),
              (ProgramResult{Found,
                             "jdoe@corp.lan address\nCorp.lan domain\n@x.lan marked, \"as\" \\is\n"
                             ".corp.lan inner\n.lan outer\njdoe@ local\n",
                             ""}));
    const std::string list =
        "file:" + m_dir.Write("list", RunTool({"convert", "--from=postmap", m_dir.Path("in")}).out);
    EXPECT_EQ(RunTool({"find", list, "jdoe@corp.lan", "a@corp.lan", "a@b.corp.lan", "a@b.lan",
                       "jdoe@else"})
                  .out,
              "jdoe@corp.lan\taddress\na@corp.lan\tdomain\na@b.corp.lan\tinner\na@b.lan\touter\n"
              "jdoe@else\tlocal\n");
    EXPECT_EQ(RunTool({"check", "--warnings=error", list}).status, Found);
    EXPECT_EQ(RunTool({"convert", "--from", "postmap", "-"}, "a b\n").out, "a b\n");
}

TEST_F(ToolSource, ConvertReportsWhatAListCannotExpress) {
    const ProgramResult result = Convert("\"two words\"@x v\na b\n*.corp.lan c\nA d\nalone\n");
    EXPECT_EQ(
        result,
        (ProgramResult{
            BadList, "a b\n*.corp.lan c\n",
            "kwlookup: error: " + m_dir.Path("in") +
                ":1: the key '\"two words\"@x' holds white space, which a list cannot express; "
                "it is left out\n" +
                Warning("3: '*' stands for itself here; write '.corp.lan' for all "
                        "sub-domains") +
                Warning("4: 'A' is already in line 2; this one is left out") +
                Warning("5: there is no value after the key 'alone'; it is left out")}));
    EXPECT_EQ(Convert("*.corp.lan c\n").status, Found);
    EXPECT_EQ(
        RunTool({"--warnings=error", "convert", "--from", "postmap", m_dir.Path("in")}).status,
        BadList);
    EXPECT_EQ(RunTool({"convert", m_dir.Path("in")}).status, Usage);
    EXPECT_EQ(RunTool({"convert", "--from", "hash", m_dir.Path("in")}).status, Usage);
    const ProgramResult missing = RunTool({"convert", "--from", "postmap", m_dir.Path("no")});
    EXPECT_EQ(missing.status, Unavailable);
    EXPECT_EQ(missing.err,
              "kwlookup: error: " + m_dir.Path("no") + ": No such file or directory\n");
}

class ToolLeftovers : public ToolSource {
protected:
    /// A build that has made its new file and waits for its input.
    std::unique_ptr<RunningProgram> StartBuild(std::size_t files) const {
        auto build = std::make_unique<RunningProgram>(ToolArguments({"build", "cdb", "-", m_out}),
                                                      TOOL_ENVIRONMENT);
        for (int i = 0; i < 60000 && FileCount() != files; ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        EXPECT_EQ(FileCount(), files);
        return build;
    }
};

TEST_F(ToolLeftovers, OfKilledBuildsAreRemovedByTheNext) {
    const auto build = StartBuild(1);
    ::kill(build->GetPid(), SIGKILL);
    EXPECT_EQ(build->Finish().status, 128 + SIGKILL);
    EXPECT_EQ(FileCount(), 1U);
    EXPECT_EQ(Build({}, "a b\n").status, Found);
    EXPECT_EQ(FileCount(), 2U) << "the text and the table";
}

TEST_F(ToolLeftovers, OfRunningBuildsAndOthersStay) {
    m_dir.Write("out.cdb.backup", "");
    m_dir.Write("out.cdb.kwlookup-1234567", "");
    m_dir.Write("other.cdb.kwlookup-123456", "");
    fs::create_symlink("out.cdb.backup", m_dir.Path("out.cdb.kwlookup-linked"));
    fs::create_directory(m_dir.Path("out.cdb.kwlookup-folder"));
    const auto build = StartBuild(6);
    EXPECT_EQ(Build({}, "a b\n").status, Found);
    EXPECT_EQ(FileCount(), 8U);
    build->Write("c d\n");
    EXPECT_EQ(build->Finish().status, Found);
    EXPECT_EQ(Find("c"), "c\td\n");
    EXPECT_EQ(FileCount(), 7U);
}

} // namespace
