// SPDX-License-Identifier: MIT
#include "support/TempDir.h"
#include "tools/Tool.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <string>
#include <sys/stat.h>
#include <vector>

using namespace std::string_literals;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

using namespace kwlookup;

struct Case {
    std::string input;
    std::string warning; ///< without "kwlookup: warning: " and the place; empty if there is none
};

std::string Warning(const std::string& text) {
    return "kwlookup: warning: " + text + "\n";
}

TEST(ToolWarnings, LiteralItemsInAnotherSyntax) {
    const TempDir dir;
    const std::string file = dir.Write("list", "");
    const Case cases[] = {
        {"*@corp.lan", "'*' stands for itself here; write '@corp.lan' for the whole domain"},
        {"*.corp.lan", "'*' stands for itself here; write '.corp.lan' for all sub-domains"},
        {"jdoe*@corp.lan", "'*' stands for itself here; patterns have the types regex and rfile"},
        {"10.0.0.0/8", "'10.0.0.0/8' matches this text only, not the addresses of a network"},
        {"!corp.lan", "'!' is part of the key; it does not exclude 'corp.lan'"},
        {"a.lan;b.lan", "';' does not separate keys here; it is part of the key 'a.lan;b.lan'"},
        {"^news@", "'^news@' is not a pattern here; patterns have the types regex and rfile"},
        {"/news@/", "'/news@/' is not a pattern here; patterns have the types regex and rfile"},
        {"#corp.lan", "'#' does not begin a comment here; '#corp.lan' is a key"},
        {file, "it names a file but is not read; write 'file:" + file + "' to read it"},
        {"/no/such/file",
         "it is a value, not the name of a file; 'file:/no/such/file' would be one"},
        {"root@corp.lan x@corp.lan",
         "only commas separate items; 'x@corp.lan' is the result of 'root@corp.lan'"},
        {"::1", "the colon at its start is dropped; write 'value:::1' to keep it"},
        {"", ""},
        {"corp.lan", ""},
        {"@corp.lan", ""},
        {".corp.lan ok", ""},
        {"jdoe@", ""},
        {"10.0.0.1", ""},
        {"a/b@corp.lan", ""},
        {"corp.lan 550 5.7.1 Go away; thank you.", ""},
        {"corp.lan relay", ""},
        {"value:*@corp.lan", ""},
        {"Value:10.0.0.0/8", ""},
        {"value:a.lan b.lan", ""},
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(test.input);
        const std::string expected =
            test.warning.empty() ? "" : Warning("[" + test.input + "]: " + test.warning);
        const std::string list = "\"" + test.input + "\"";
        EXPECT_EQ(RunTool({"check", list}),
                  (ProgramResult{Found, "1 object, 1 record, 0 errors\n", expected}));
        EXPECT_EQ(RunTool({"check", "--warnings=error", list}),
                  (ProgramResult{expected.empty() ? Found : BadList,
                                 "1 object, 1 record, "s + (expected.empty() ? "0" : "1") +
                                     " error" + (expected.empty() ? "s" : "") + "\n",
                                 expected}));
        EXPECT_EQ(RunTool({"check", list, "--warnings", "off"}).err, "");
        EXPECT_EQ(RunTool({"find", list, "nobody@else.org"}).err, expected);
    }
}

TEST(ToolWarnings, LinesOfAFile) {
    const TempDir dir;
    const Case cases[] = {
        {"\xef\xbb\xbf"
         "corp.lan\n",
         "1: a byte order mark is part of the first key; save the file without it"},
        {"\xff\xfe"
         "c\0o\0"s,
         "1: the file is in UTF-16 and matches nothing; save it as UTF-8"},
        {"\xfe\xff\0c\0o"s, "1: the file is in UTF-16 and matches nothing; save it as UTF-8"},
        {"c\0o\0r\0p\0\n\0"s, "1: the file is in UTF-16 and matches nothing; save it as UTF-8"},
        {"corp.lan\nother.lan\0x\nthird.lan\n"s, "2: the line holds a NUL byte"},
        {"Corp.lan x\n\n@corp.LAN y\n", "3: '@corp.LAN' is already in line 1"},
        {"jdoe@\nx.lan\nJDoe@corp.lan\n", "3: 'JDoe@corp.lan' never answers: line 1 comes first"},
        {"@corp.lan\na@corp.lan ok\n", "2: 'a@corp.lan' never answers: line 1 comes first"},
        {"x\n.lan\na@b.corp.lan\n", "3: 'a@b.corp.lan' never answers: line 2 comes first"},
        {".lan\n.corp.lan\n", "2: '.corp.lan' never answers: line 1 comes first"},
        {".lan\ncorp.lan\n", "2: 'corp.lan' never answers: line 1 comes first"},
        {"corp.lan\n# a comment\n", "2: '#' does not begin a comment here; '#' is a key"},
        {"*@corp.lan x\n", "1: '*' stands for itself here; write '@corp.lan' for the whole domain"},
        {"\"two words\" x\n", "1: quotes do not join words here; the key is '\"two'"},
        {"root: admin\n", "1: the ':' is part of the key 'root:'"},
        {"a.lan,\n", "1: the ',' is part of the key 'a.lan,'"},
        // Not hidden: the earlier line matches less, or the line comes first.
        {".lan\nlan\n", ""},
        {"a@corp.lan\ncorp.lan\n.lan\njdoe@\n", ""},
        {".corp.lan\na@corp.lan\ncorp.lan\nxcorp.lan\n", ""},
        {"corp.lan\na@mail.corp.lan\nmail.corp.lan\n.corp.lan\n", ""},
        {"b@\na@b@corp.lan\n", ""},
        {"@\na@corp.lan\n", ""},
        {"\"j doe\"@corp.lan\n", "1: quotes do not join words here; the key is '\"j'"},
        {"\"jdoe\"@corp.lan 550 no; \"bye\" *\n", ""},
        {"c\xe4sar@corp.lan\n", ""},
        {"", ""},
        {"corp.lan", ""},
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(test.input);
        const std::string name = dir.Write("list", test.input);
        const ProgramResult result = RunTool({"check", "file:" + name});
        EXPECT_EQ(result.status, Found);
        EXPECT_EQ(result.err, test.warning.empty() ? "" : Warning(name + ":" + test.warning));
        EXPECT_EQ(RunTool({"check", "--warnings=error", "file:" + name}).status,
                  test.warning.empty() ? Found : BadList);
    }
}

// Warnings do not change what the file holds.
TEST(ToolWarnings, EveryLoadWarnsOfEncodings) {
    const TempDir dir;
    const std::string bom = dir.Write("bom", "\xef\xbb\xbf"
                                             "corp.lan\n");
    const std::string expected =
        Warning(bom + ":1: a byte order mark is part of the first key; save the file without it");
    EXPECT_EQ(RunTool({"find", "file:" + bom, "a@corp.lan"}),
              (ProgramResult{NotFound, "", expected}));
    EXPECT_EQ(RunTool({"find", "file:" + bom,
                       "\xef\xbb\xbf"
                       "corp.lan"})
                  .status,
              Found);
    EXPECT_EQ(RunTool({"watch", "file:" + bom}), (ProgramResult{NotFound, "", expected}));
    EXPECT_THAT(RunTool({"compare", "file:" + bom, "x"}).err, StartsWith(expected));
    EXPECT_EQ(RunTool({"find", "--warnings=off", "file:" + bom, "a@corp.lan"}).err, "");

    const std::vector<std::string> as_error = {"--warnings=error", "file:" + bom};
    const auto run = [&as_error](std::vector<std::string> before, std::vector<std::string> after) {
        before.insert(before.end(), as_error.begin(), as_error.end());
        before.insert(before.end(), after.begin(), after.end());
        return RunTool(before).status;
    };
    EXPECT_EQ(run({"find"}, {"a@corp.lan"}), Unavailable);
    EXPECT_EQ(run({"find", "--strict"}, {"a@corp.lan"}), BadList);
    EXPECT_EQ(run({"compare"}, {"x"}), BadList);
    EXPECT_EQ(run({"find"}, {"--warnings=no", "x"}), Usage);
}

TEST(ToolWarnings, FindDoesNotCheckTheLinesOfAFile) {
    const TempDir dir;
    const std::string list = "file:" + dir.Write("list", "corp.lan\na@corp.lan\n*@x\n");
    EXPECT_EQ(RunTool({"find", list, "a@corp.lan"}).err, "");
}

TEST(ToolWarnings, ASpecialFileIsNotReadTwice) {
    const ProgramResult result =
        RunToolInShell("printf '*@a.lan\\nb.lan\\n' | \"$@\"", {"check", "file:/dev/stdin"});
    EXPECT_EQ(result, (ProgramResult{Found, "1 object, 2 records, 0 errors\n", ""}));
}

TEST(ToolWarnings, PatternTables) {
    const TempDir dir;
    const std::string conditions = "'if' and 'endif' are patterns here, not conditions";
    const Case cases[] = {
        {"/^a/ x\nif /corp/\n", "2: " + conditions},
        {"if!/corp/\n", "1: " + conditions},
        {"# x\n\nEndif\n", "3: " + conditions},
        {"!/corp/ x\n", "1: '!' is part of a pattern here, and does not negate one"},
        {"/^a\\/b/i x\n", "1: the flag i ignores letter case here, but makes it count in tables "
                          "of Postfix; write (?i) or the flag c"},
        {"/^a/ms x\n", "1: the flag s lets '.' match a line feed here, but prevents it in tables "
                       "of Postfix; write (?s)"},
        {"/^a/\n  more\n", "2: it begins with white space; here it is a pattern of its own and "
                           "does not continue the line before"},
        {"a\0b\n"s, "1: the line holds a NUL byte"},
        {"\xff\xfe"
         "a\0b\0"s,
         "1: the file is in UTF-16 and matches nothing; save it as UTF-8"},
        {"\xef\xbb\xbf^a\n^b\n", ""},
        {"# if /x/\n  # !/x/\n", ""},
        {"/^a/c x is\n/a/\n/x/ if\niffy\nendiff\nnot!/x/\n", ""},
    };
    for (const Case& test : cases) {
        SCOPED_TRACE(test.input);
        const std::string name = dir.Write("table", test.input);
        const std::string expected = test.warning.empty() ? "" : Warning(name + ":" + test.warning);
        EXPECT_EQ(RunTool({"check", "rfile:" + name}).err, expected);
        EXPECT_EQ(RunTool({"find", "rfile:OnError=exception|" + name, "z"}),
                  (ProgramResult{NotFound, "", expected}));
    }
}

TEST(ToolWarnings, AreBounded) {
    const TempDir dir;
    std::string lines = "corp.lan\n";
    for (int i = 0; i < 1000; ++i)
        lines += "corp.lan\n*\n";
    const std::string name = dir.Write("list", lines);
    const ProgramResult result = RunTool({"check", "file:" + name});
    EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 2 * 20 + 2);
    EXPECT_THAT(result.err,
                HasSubstr(Warning(name + ": 1979 more duplicate keys") +
                          Warning(name + ": 980 more keys in another program's syntax")));
    const ProgramResult deep =
        RunTool({"check", "file:" + dir.Write("deep", ".lan\nx@" + std::string(1 << 20, '.'))});
    EXPECT_EQ(deep, (ProgramResult{Found, "1 object, 2 records, 0 errors\n", ""}));
}

TEST(ToolOpen, AnUnreadableTableIsAFaultWithAnyOnError) {
    const TempDir dir;
    const std::string table = dir.Path("no.cdb");
    const std::string list = "cdb:Database=" + table + "|$s";
    const std::string reason =
        "kwlookup: error: lookup_cdb: " + table + ": No such file or directory\n";
    const std::string expected =
        reason + "kwlookup: error: [" + list + "] ignores the error above and finds nothing\n";
    EXPECT_EQ(RunTool({"check", list}),
              (ProgramResult{BadList, "1 object, 1 record, 1 error\n", expected}));
    EXPECT_EQ(RunTool({"check", "cdb:OnError=exception|Database=" + table + "|$u"}).status,
              BadList);
    EXPECT_EQ(RunTool({"check", "--no-open", list}),
              (ProgramResult{Found, "1 object, 1 record, 0 errors\n", ""}));
    EXPECT_EQ(RunTool({"find", "--strict", list, "a@b"}), (ProgramResult{BadList, "", expected}));
    EXPECT_EQ(RunTool({"find", list, "a@b"}), (ProgramResult{NotFound, "", reason}));

    ASSERT_EQ(RunTool({"build", "cdb", dir.Write("in", "a@b x\n"), table}).status, Found);
    EXPECT_EQ(RunTool({"check", list}),
              (ProgramResult{Found, "1 object, 1 record, 0 errors\n", ""}));
    EXPECT_EQ(RunTool({"find", "--strict", list, "a@b"}), (ProgramResult{Found, "a@b\tx\n", ""}));
}

TEST(ToolOpen, AnIgnoredErrorOfASearchIsAFaultToo) {
    // The text alone reaches the limit.
    const std::string list = "regex:MaxLength=10|^a";
    EXPECT_EQ(RunTool({"check", list}).status, Found);
    EXPECT_EQ(RunTool({"find", list, "12345678901"}).status, NotFound);
    EXPECT_EQ(RunTool({"find", "--strict", list, "12345678901"}).status, Unavailable);
    EXPECT_EQ(RunTool({"find", "--strict", list, "1"}).status, NotFound);
}

TEST(ToolOpen, UnknownSections) {
    const TempDir dir;
    const std::string conf = dir.Write("conf", "[lookup_regex]\nMaxLength=100\n\n[lookup_regexp]\n"
                                               "MaxLength=100\n[lookup_file]\n");
    ::chmod(conf.c_str(), 0600);
    const std::string expected =
        Warning(conf + ":6: [lookup_file]: no plug-in type has this section") +
        Warning(conf + ":4: [lookup_regexp]: no plug-in type has this section");
    EXPECT_EQ(RunTool({"--config", conf, "find", "a", "a"}),
              (ProgramResult{Found, "a\ta\n", expected}));
    EXPECT_EQ(RunTool({"--config", conf, "--warnings=off", "find", "a", "a"}).err, "");
    EXPECT_EQ(RunTool({"--config", conf, "watch", "a"}).err, expected);
    EXPECT_EQ(RunTool({"--config", conf, "check"}).status, BadList);
}

TEST(ToolHints, CommonErrorsShowACorrectedLine) {
    const std::string types = "kwlookup: hint: 'kwlookup types' lists the types; ";
    struct Hint {
        std::vector<std::string> arguments;
        int status;
        std::string err; ///< the end of the error output
    };
    const std::string quote = "kwlookup: hint: a list with blanks in it needs quotes: ";
    const Hint hints[] = {
        {{"fnd", "a", "b c"},
         Usage,
         "kwlookup: error: unknown command fnd; did you mean find?\n"
         "Run with --help for more information.\n"
         "kwlookup: hint: kwlookup find a 'b c'\n"},
        {{"xyzzy"},
         Usage,
         "kwlookup: error: unknown command xyzzy; the commands are find, watch, check, compare"},
        {{"ldap:Password=S3CRET"},
         Usage,
         "kwlookup: error: unknown command ldap:Password=***; the"},
        {{"check", "a", "\x1b[2J"},
         Usage,
         "kwlookup: error: The following argument was not expected: \\x1b[2J\n"
         "Run with --help for more information.\n"},
        {{"find"}, Usage, "kwlookup: error: LIST is required\n"},
        {{"--warnings=tell", "check", "a"},
         Usage,
         "kwlookup: error: --warnings: tell not in {error,off,print}\n"},
        {{"build", "cdb", "--source", "hash", "in", "out"},
         Usage,
         "kwlookup: error: --source: hash not in {plain,postmap}\n"},
        {{"check", "a", "ldap:Password=S3CRET"},
         Usage,
         "The following argument was not expected: ldap:Password=***\n"},
        {{"build", "hash", "in", "out"},
         Usage,
         "kwlookup: error: unknown command build hash; the commands are cdb, lmdb\n"
         "Run with --help for more information.\n"
         "kwlookup: hint: kwlookup build cdb in out\n"},
        {{"find", "a,", "b", "c"}, NotFound, quote + "kwlookup find 'a, b' c\n"},
        {{"check", "a,", "it's,", "c"}, Usage, quote + "kwlookup check 'a, it'\\''s, c'\n"},
        {{"find", "regex:^(a|b)@", "x"},
         Unavailable,
         "kwlookup: error: Error in init lookup [regex:^(a|b)@]: error in lookup_regex params: "
         "can`t find '=' in ^(a\n"
         "kwlookup: hint: a bar ends a setting: quote it: 'regex:\"^(a|b)@\"'\n"},
        {{"check", "regex:CaseSensitive=yes|^(a|b)@"},
         BadList,
         "kwlookup: hint: a bar ends a setting: quote it: "
         "'regex:CaseSensitive=yes|\"^(a|b)@\"'\n"},
        {{"check", "regex:^(a\\|b|c)"},
         BadList,
         "kwlookup: hint: a bar ends a setting: quote it\n"},
        {{"check", "hash:/etc/mail/access"},
         BadList,
         "kwlookup: error: Error in init lookup [hash:/etc/mail/access]: unknown id 'hash'\n" +
             types + "write 'berkeley:Database=/etc/mail/access.db|$s'\n"},
        {{"check", "pcre:/etc/mail/table"}, BadList, types + "write rfile:/etc/mail/table\n"},
        {{"check", "pgsql:x"}, BadList, types + "write postgres:x\n"},
        {{"check", "fiel:/etc/mail/list"}, BadList, types + "write file:/etc/mail/list\n"},
        {{"check", "list:x, hash:x"},
         BadList,
         types + "a value with a colon in it is written 'value:list:x'; for a plug-in "
                 "from elsewhere, add --type list\n"},
    };
    for (const Hint& hint : hints) {
        SCOPED_TRACE(testing::PrintToString(hint.arguments));
        const ProgramResult result = RunTool(hint.arguments);
        EXPECT_EQ(result.status, hint.status);
        EXPECT_THAT(result.err, HasSubstr(hint.err));
    }
    EXPECT_EQ(RunTool({"find", "regex:CaseSensitive=yes|\"^(a|b)@\"", "b@x"}).status, Found);
    EXPECT_EQ(RunTool({"find", "a, b", "b"}), (ProgramResult{Found, "b\tb\n", ""}));
    EXPECT_EQ(RunTool({"find", "a,", "a"}).err, quote + "kwlookup find 'a, a'\n");
}

TEST(ToolWatchTermination, EndsWithItsOwnStatus) {
    const std::vector<std::string> arguments = ToolArguments({"watch", "abc"});
    // Even while it waits for the rest of a line.
    for (const std::string begun : {"", "ab"}) {
        SCOPED_TRACE(begun);
        RunningProgram tool(arguments, TOOL_ENVIRONMENT);
        tool.Write("abc\n");
        EXPECT_EQ(tool.ReadLine(), "abc\tabc");
        tool.Write(begun);
        ::kill(tool.GetPid(), SIGTERM);
        EXPECT_EQ(tool.ReadLine(), "") << "it ends";
        EXPECT_EQ(tool.Finish(), (ProgramResult{Found, "", ""}));
    }
    std::vector<std::string> ignoring = {"/bin/sh", "-c", "trap '' TERM; exec \"$@\"", "sh"};
    ignoring.insert(ignoring.end(), arguments.begin(), arguments.end());
    RunningProgram tool(ignoring, TOOL_ENVIRONMENT);
    tool.Write("abc\n");
    EXPECT_EQ(tool.ReadLine(), "abc\tabc");
    ::kill(tool.GetPid(), SIGTERM);
    tool.Write("abc\n");
    EXPECT_EQ(tool.ReadLine(), "abc\tabc") << "the signal was ignored before";
    EXPECT_EQ(tool.Finish().status, Found);
}

} // namespace
