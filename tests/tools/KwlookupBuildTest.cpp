// SPDX-License-Identifier: MIT
#include "support/PseudoTerminal.h"
#include "support/TempDir.h"
#include "tools/Tool.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace fs = std::filesystem;
using namespace std::string_literals;
using testing::HasSubstr;

namespace {

using namespace kwlookup;

std::string Content(const std::string& name) {
    std::ifstream in(name, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

class ToolBuild : public testing::Test {
protected:
    ProgramResult Build(const std::string& lines, const std::string& name = "out.cdb") const {
        return RunTool(
            {"--warnings=off", "build", "cdb", m_dir.Write("in", lines), m_dir.Path(name)});
    }

    std::string Table(const std::string& settings = "") const {
        return "cdb:OnError=exception|" + settings + "Database=" + m_dir.Path("out.cdb") + "|$s";
    }

    std::string Find(const std::string& text, const std::string& settings = "") const {
        return RunTool({"find", Table(settings), text}).out;
    }

    std::size_t FileCount() const {
        const fs::directory_iterator files(fs::path(m_dir.Path("x")).parent_path());
        return static_cast<std::size_t>(std::distance(begin(files), end(files)));
    }

    void WaitForFiles(std::size_t count) const {
        for (int i = 0; i < 60000 && FileCount() != count; ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }

    const TempDir m_dir;
};

TEST_F(ToolBuild, ALineThatIsTooLongIsAnError) {
    const ProgramResult result = RunTool({"build", "cdb", "-", m_dir.Path("out.cdb")},
                                         "a b\n" + std::string((16 << 20) + 1, 'x'));
    EXPECT_EQ(result.status, Unavailable);
    EXPECT_EQ(result.err, "kwlookup: error: -: line 2 is longer than 16777216 bytes\n");
    EXPECT_FALSE(fs::exists(m_dir.Path("out.cdb")));
}

TEST_F(ToolBuild, MakesATableOfKeysAndValues) {
    EXPECT_EQ(Build("# a comment\n\t# another\nJDoe@corp.lan OK  yes \n\n\t \n  "
                    "corp.lan\r\nroot@\t1\nroot@ 2\n"
                    "caf\xe9 8-bit\nn\0l x\0y"s),
              (ProgramResult{Same, m_dir.Path("out.cdb") + ": 6 records\n", ""}));
    EXPECT_EQ(Find("jdoe@CORP.lan"), "jdoe@CORP.lan\tOK  yes\n");
    EXPECT_EQ(Find("corp.lan"), "corp.lan\tcorp.lan\n");
    EXPECT_EQ(Find("root@"), "root@\t1\n");
    EXPECT_EQ(Find("root@", "AllValues=yes|"), "root@\t1 2\n");
    EXPECT_EQ(Find("caf\xe9"), "caf\xe9\t8-bit\n");
    EXPECT_EQ(Find("#"), "");
    EXPECT_EQ(RunTool({"find", "--raw", Table(), "-"}, "n\0l\n"s).out, "n\0l\tx\0y\n"s);
}

TEST_F(ToolBuild, EscapesTheNamesOfFiles) {
    const std::string in = m_dir.Write("\x1bin", "");
    const std::string out = m_dir.Path("\x1bout");
    EXPECT_EQ(RunTool({"build", "cdb", in, out}).out, m_dir.Path("\\x1bout") + ": 0 records\n");
    EXPECT_EQ(RunTool({"--config", in, "check"}).out,
              m_dir.Path("\\x1bin") + ": 0 sections, 0 errors\n");
}

TEST_F(ToolBuild, ReadsStandardInputAndKeepsCase) {
    EXPECT_EQ(RunTool({"build", "cdb", "--keep-case", "-", m_dir.Path("out.cdb")}, "Key v\n").out,
              m_dir.Path("out.cdb") + ": 1 record\n");
    EXPECT_EQ(Find("Key"), "");
    EXPECT_EQ(Find("Key", "LowerCase=no|"), "Key\tv\n");
}

TEST_F(ToolBuild, ReplacesByRenameAndKeepsTheMode) {
    ASSERT_EQ(Build("a 1\n").status, Same);
    const std::string name = m_dir.Path("out.cdb");
    ASSERT_EQ(::chmod(name.c_str(), 0640), 0);
    fs::create_hard_link(name, m_dir.Path("old.cdb"));
    fs::create_symlink("out.cdb", m_dir.Path("link.cdb"));
    const std::string old = Content(name);
    ASSERT_EQ(Build("b 2\n", "link.cdb").status, Same);
    EXPECT_TRUE(fs::is_symlink(m_dir.Path("link.cdb")));
    EXPECT_EQ(Content(m_dir.Path("old.cdb")), old) << "written in place";
    EXPECT_EQ(Find("b"), "b\t2\n");
    struct stat status;
    ASSERT_EQ(::stat(name.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0640U);
    EXPECT_EQ(FileCount(), 4U) << "something is left beside it";
}

TEST_F(ToolBuild, FollowsLinksToMissingFiles) {
    fs::create_directory(m_dir.Path("tables"));
    fs::create_symlink("tables/second", m_dir.Path("first"));
    fs::create_symlink(m_dir.Path("out.cdb"), m_dir.Path("tables/second"));
    ASSERT_EQ(Build("a 1\n", "first").status, Same);
    EXPECT_TRUE(fs::is_symlink(m_dir.Path("first")));
    EXPECT_EQ(Find("a"), "a\t1\n");

    fs::create_symlink("loop", m_dir.Path("loop"));
    const ProgramResult loop = Build("a 1\n", "loop");
    EXPECT_EQ(loop.status, Unavailable);
    EXPECT_THAT(loop.err, HasSubstr("Too many levels of symbolic links"));
    EXPECT_TRUE(fs::is_symlink(m_dir.Path("loop")));
}

TEST_F(ToolBuild, DoesNotReplaceWhatItReads) {
    const std::string in = m_dir.Write("in", "a 1\n");
    fs::create_symlink("in", m_dir.Path("link"));
    fs::create_hard_link(in, m_dir.Path("hard"));
    for (const std::string& out : {in, m_dir.Path("link"), m_dir.Path("hard")}) {
        const ProgramResult result = RunTool({"build", "cdb", in, out});
        EXPECT_EQ(result.status, Unavailable);
        EXPECT_EQ(result.err, "kwlookup: error: " + out + ": is the file to read\n");
    }
    EXPECT_EQ(RunToolInShell("exec \"$@\" <'" + in + "'", {"build", "cdb", "-", in}).status,
              Unavailable);
    EXPECT_EQ(Content(in), "a 1\n");
    EXPECT_EQ(FileCount(), 3U);
}

// Users who could read the old file as its owner or group can read the new one.
TEST_F(ToolBuild, KeepsOwnerAndGroup) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "only root can give a file away";
    ASSERT_EQ(Build("a 1\n").status, Same);
    const std::string out = m_dir.Path("out.cdb");
    const std::string in = m_dir.Write("in", "b 2\n");
    ASSERT_EQ(::chmod(out.c_str(), 0640), 0);
    ASSERT_EQ(::chown(out.c_str(), 1234, 4321), 0);
    struct Case {
        std::string how;
        int status;
        unsigned owner;
    };
    const std::string without = "setpriv --bounding-set -chown --groups ";
    for (const Case& test : {Case{"", Same, 1234}, Case{without + "1", Unavailable, 1234},
                             Case{without + "4321", Same, 0}}) {
        SCOPED_TRACE(test.how);
        const ProgramResult result =
            RunToolInShell(test.how + " \"$@\"", {"build", "cdb", in, out});
        EXPECT_EQ(result.status, test.status);
        EXPECT_EQ(result.err, test.status == Same
                                  ? ""
                                  : "kwlookup: error: " + out +
                                        ": cannot keep its group: Operation not permitted\n");
        struct stat status;
        ASSERT_EQ(::stat(out.c_str(), &status), 0);
        EXPECT_EQ(status.st_uid, test.owner);
        EXPECT_EQ(status.st_gid, 4321U);
        EXPECT_EQ(status.st_mode & 07777, 0640U);
        EXPECT_EQ(FileCount(), 2U);
    }
}

TEST_F(ToolBuild, AnUnreadableDirectoryIsAnErrorBeforeTheFileIsMade) {
    fs::create_directory(m_dir.Path("dark"));
    ASSERT_EQ(Build("a 1\n", "dark/out.cdb").status, Same);
    const std::string out = m_dir.Path("dark/out.cdb");
    const std::string old = Content(out);
    ASSERT_EQ(::chmod(m_dir.Path("dark").c_str(), 0300), 0);
    const std::string powerless =
        ::geteuid() == 0 ? "setpriv --bounding-set -dac_override,-dac_read_search " : "";
    const ProgramResult result =
        RunToolInShell(powerless + "\"$@\"", {"build", "cdb", m_dir.Write("in", "b 2\n"), out});
    EXPECT_EQ(result.status, Unavailable);
    EXPECT_EQ(result.err, "kwlookup: error: " + out + ": Permission denied\n");
    ASSERT_EQ(::chmod(m_dir.Path("dark").c_str(), 0700), 0);
    EXPECT_EQ(Content(out), old);
    EXPECT_EQ(std::distance(fs::directory_iterator(m_dir.Path("dark")), {}), 1);
}

TEST_F(ToolBuild, ASignalLeavesTheOldFile) {
    ASSERT_EQ(Build("a 1\n").status, Same);
    const std::string old = Content(m_dir.Path("out.cdb"));
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        // The tests may run as a background job, which ignores SIGINT.
        const auto handler = std::signal(signal, SIG_IGN);
        RunningProgram build(ToolArguments({"build", "cdb", "-", m_dir.Path("out.cdb")}),
                             TOOL_ENVIRONMENT);
        std::signal(signal, handler);
        build.Write("b 2\n");
        WaitForFiles(3);
        ::kill(build.GetPid(), signal);
        EXPECT_EQ(build.Finish().status, 128 + signal);
        EXPECT_EQ(Content(m_dir.Path("out.cdb")), old);
        EXPECT_EQ(FileCount(), 2U) << "something is left beside it";
    }
}

TEST_F(ToolBuild, IgnoredSignalsStayIgnored) {
    std::vector<std::string> arguments = {"/bin/sh", "-c", "trap '' HUP; exec \"$@\"", "sh"};
    for (std::string& argument : ToolArguments({"build", "cdb", "-", m_dir.Path("out.cdb")}))
        arguments.push_back(std::move(argument));
    RunningProgram build(arguments, TOOL_ENVIRONMENT);
    build.Write("b 2\n");
    WaitForFiles(1);
    ::kill(build.GetPid(), SIGHUP);
    EXPECT_EQ(build.Finish().status, Same);
    EXPECT_EQ(Find("b"), "b\t2\n");
}

TEST_F(ToolBuild, ANewFileHasTheUsualMode) {
    const std::string in = m_dir.Write("in", "a 1\n");
    ASSERT_EQ(RunToolInShell("umask 027; exec \"$@\"", {"build", "cdb", in, m_dir.Path("out.cdb")})
                  .status,
              Same);
    struct stat status;
    ASSERT_EQ(::stat(m_dir.Path("out.cdb").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0640U);
}

TEST_F(ToolBuild, AFailureLeavesTheOldFile) {
    ASSERT_EQ(Build("a 1\n").status, Same);
    const std::string out = m_dir.Path("out.cdb");
    const std::string directory = m_dir.Path("");

    const ProgramResult unread = RunTool({"build", "cdb", directory, out});
    EXPECT_EQ(unread.status, Unavailable);
    EXPECT_EQ(unread.err, "kwlookup: error: " + directory + ": Is a directory\n");
    const ProgramResult missing = RunTool({"build", "cdb", m_dir.Path("no"), out});
    EXPECT_EQ(missing.status, Unavailable);
    EXPECT_EQ(missing.err,
              "kwlookup: error: " + m_dir.Path("no") + ": No such file or directory\n");
    const std::string large = m_dir.Write("large", std::string(9000, 'x') + " y\n");
    const ProgramResult full =
        RunToolInShell("ulimit -f 8; exec \"$@\"", {"build", "cdb", large, out});
    EXPECT_EQ(full.status, Unavailable);
    EXPECT_EQ(full.err, "kwlookup: error: " + out + ": File too large\n");
    const ProgramResult nowhere = RunTool({"build", "cdb", large, m_dir.Path("no/out.cdb")});
    EXPECT_EQ(nowhere.status, Unavailable);
    EXPECT_THAT(nowhere.err, HasSubstr("no/out.cdb: No such file or directory"));
    const std::string pipe = m_dir.Path("pipe");
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    const ProgramResult special = RunTool({"build", "cdb", large, pipe});
    EXPECT_EQ(special.status, Unavailable);
    EXPECT_EQ(special.err, "kwlookup: error: " + pipe + ": not a regular file\n");
    EXPECT_TRUE(fs::is_fifo(pipe));

    EXPECT_EQ(Find("a"), "a\t1\n");
    EXPECT_EQ(FileCount(), 4U) << "something is left beside it";
}

TEST_F(ToolBuild, ShowsProgressOnATerminalOnly) {
    std::string lines;
    for (int i = 0; i < 100000; ++i)
        lines += std::to_string(i) + " x\n";
    EXPECT_EQ(Build(lines).err, "");
    if (!HavePseudoTerminals())
        GTEST_SKIP() << "no pseudo terminal can be had";
    const ProgramResult shown =
        RunToolInShell("script -qec \"$*\" /dev/null",
                       {"build", "cdb", m_dir.Write("in", lines), m_dir.Path("out.cdb")});
    EXPECT_THAT(shown.out, HasSubstr("\r100000 records\r\x1b[K" + m_dir.Path("out.cdb") + ": "));
    // 2 MB have room for the records, but not for the tables.
    const ProgramResult failed =
        RunToolInShell("trap '' XFSZ; ulimit -f 4000; script -qec \"$*\" /dev/null",
                       {"build", "cdb", m_dir.Path("in"), m_dir.Path("out.cdb")});
    EXPECT_THAT(failed.out, HasSubstr("\r100000 records\r\x1b[Kkwlookup: error: " +
                                      m_dir.Path("out.cdb") + ": File too large"));
}

TEST_F(ToolBuild, AllArgumentsAreRequired) {
    EXPECT_EQ(RunTool({"build"}).status, Usage);
    EXPECT_EQ(RunTool({"build", "cdb"}).status, Usage);
    EXPECT_EQ(RunTool({"build", "cdb", "in"}).status, Usage);
    EXPECT_EQ(RunTool({"build", "hash", "in", "out"}).status, Usage);
}

class ToolCompare : public ToolBuild {};

TEST_F(ToolCompare, PrintsWhereTheListsDiffer) {
    const std::string old = "file:" + m_dir.Write("old", "a 1\nb\nc 3\nd\n");
    ASSERT_EQ(Build("a 1\nb\nc 4\ne 5\n").status, Same);
    EXPECT_EQ(RunTool({"compare", old, Table()}, "a\nb\nc\nd\r\ne\nf\n"),
              (ProgramResult{Different, "c\t+ 3\t+ 4\nd\t+\t-\ne\t-\t+ 5\n",
                             "kwlookup: 6 asked, 3 different\n"}));
    EXPECT_EQ(RunTool({"compare", old, Table()}, "a\nb\nf\n"),
              (ProgramResult{Same, "", "kwlookup: 3 asked, 0 different\n"}));
    EXPECT_EQ(RunTool({"compare", old, old}, ""),
              (ProgramResult{Same, "", "kwlookup: 0 asked, 0 different\n"}));
}

TEST_F(ToolCompare, EscapesFieldsUnlessRaw) {
    const std::string list = "file:" + m_dir.Write("list", "a\t\x1b[31m\tb\n");
    const std::string input = "<\x1b@a>\n";
    EXPECT_EQ(RunTool({"compare", list, "nothing"}, input).out,
              "<\\x1b@a>\t+ \\x1b[31m\\x09b\t-\n");
    EXPECT_EQ(RunTool({"compare", "--raw", list, "nothing"}, input).out,
              "<\x1b@a>\t+ \x1b[31m\tb\t-\n");
}

TEST_F(ToolCompare, NullSeparatesTextsAndAnswers) {
    EXPECT_EQ(RunTool({"compare", "-0", "a,\"b\n\"", "nothing"}, "a\0b\n\0c\0a"s),
              (ProgramResult{Different, "a\t+\t-\0b\\x0a\t+\t-\0a\t+\t-\0"s,
                             "kwlookup: 4 asked, 3 different\n"}));
}

TEST_F(ToolCompare, SearchesWithTheFlags) {
    const std::string input = "<A@corp.lan>\n";
    EXPECT_EQ(RunTool({"compare", "a@corp.lan", "nothing"}, input).status, Different);
    EXPECT_EQ(RunTool({"compare", "--exact", "a@corp.lan", "nothing"}, input).status, Same);
    EXPECT_EQ(
        RunTool({"compare", "--exact", "--ignore-case", "<a@corp.lan>", "nothing"}, input).status,
        Different);
}

TEST_F(ToolCompare, AFaultIsNotADifference) {
    const std::string missing = m_dir.Path("out.cdb");
    const ProgramResult result = RunTool({"compare", "b", Table()}, "a\nb\n");
    EXPECT_EQ(result.status, Unavailable);
    EXPECT_EQ(result.out, "");
    EXPECT_THAT(result.err, HasSubstr("could not answer for [a]: " + missing));
    EXPECT_THAT(result.err,
                testing::EndsWith("kwlookup: 2 asked, 0 different, 2 could not be answered\n"));
    EXPECT_EQ(RunTool({"compare", "b", "b, " + Table()}, "b\n").status, Same) << "it is not asked";
}

TEST_F(ToolCompare, AnIgnoredErrorIsAMiss) {
    const std::string missing = "cdb:Database=" + m_dir.Path("no") + "|$s";
    const ProgramResult result = RunTool({"compare", "a", missing}, "a\nb\n");
    EXPECT_EQ(result.status, Different);
    EXPECT_EQ(result.out, "a\t+\t-\n");
    EXPECT_THAT(result.err, HasSubstr(m_dir.Path("no") + ": No such file or directory"));
}

TEST_F(ToolCompare, ComparesNothingIfAListHasErrors) {
    const ProgramResult result = RunTool({"compare", "a", "a, nosuch:x"}, "a\n");
    EXPECT_EQ(result.status, BadList);
    EXPECT_EQ(result.out, "");
    EXPECT_THAT(result.err, HasSubstr("kwlookup: error: the list [a, nosuch:x] has errors: "
                                      "nothing is compared\n"));
    EXPECT_EQ(RunTool({"compare", "\"a", "a"}, "a\n").status, BadList);
    EXPECT_EQ(RunTool({"compare", "a"}, "a\n").status, Usage);
}

TEST_F(ToolCompare, ReportsOutputThatCannotBeWritten) {
    const ProgramResult result =
        RunToolInShell("echo a | \"$@\" >/dev/full", {"compare", "a", "b"});
    EXPECT_EQ(result.status, 74);
}

} // namespace
