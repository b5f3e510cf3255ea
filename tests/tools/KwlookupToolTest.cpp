// SPDX-License-Identifier: MIT
#include "support/TempDir.h"
#include "tools/Tool.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cctype>
#include <fstream>
#include <nlohmann/json.hpp>
#include <random>
#include <sstream>
#include <string>
#include <vector>

using namespace std::string_literals;
using testing::HasSubstr;

namespace {

using namespace kwlookup;

ProgramResult Answers(const std::string& out) {
    return {Found, out, ""};
}

const ProgramResult NOTHING_FOUND = {NotFound, "", ""};

std::vector<std::string> Lines(const std::string& text, char end = '\n') {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line, end);)
        lines.push_back(line);
    return lines;
}

TEST(ToolFind, PrintsTextTabAndResultOrStoredValue) {
    const TempDir dir;
    const std::string file = "file:" + dir.Write("list", "@corp.lan 550 go away\nother.org\n");
    EXPECT_EQ(RunTool({"find", "root@corp.lan", "root@corp.lan"}),
              Answers("root@corp.lan\troot@corp.lan\n"));
    EXPECT_EQ(RunTool({"find", file, "<jdoe@CORP.lan>"}),
              Answers("<jdoe@CORP.lan>\t550 go away\n"));
    EXPECT_EQ(RunTool({"find", file, "jdoe@other.org"}), Answers("jdoe@other.org\tother.org\n"));
    EXPECT_EQ(RunTool({"find", "corp.lan OK", "corp.lan"}), Answers("corp.lan\tOK\n"));
    EXPECT_EQ(RunTool({"find", file, "jdoe@else.org"}), NOTHING_FOUND);
    EXPECT_EQ(RunTool({"find", file, "a@x", "b@other.org", "c@y", "d@corp.lan"}),
              Answers("b@other.org\tother.org\nd@corp.lan\t550 go away\n"));
    // The plug-in matches without a value of its own.
    EXPECT_EQ(RunTool({"find", "ldap:found", "x"}), Answers("x\tx\n"));
}

TEST(ToolFind, ManyLinesAreAnsweredInTheirOrder) {
    const TempDir dir;
    std::string records, input, plain, all;
    const std::string longer(300, 'x');
    for (int i = 0; i < 1000; ++i)
        records += "user" + std::to_string(i) + "@corp.lan " + longer + std::to_string(i) + "\n";
    for (int i = 0; i < 20000; ++i) {
        const std::string text = "user" + std::to_string(i * 7 % 3000) + "@corp.lan";
        input += text + "\n";
        if (i * 7 % 3000 < 1000) {
            plain += text + "\t" + longer + std::to_string(i * 7 % 3000) + "\n";
            all += text + "\t" + longer + std::to_string(i * 7 % 3000) + "\n";
        }
        if (text == "user7@corp.lan")
            all += text + "\t" + text + "\n";
    }
    const std::string list = "file:" + dir.Write("list", records) + ", user7@corp.lan";
    EXPECT_EQ(RunTool({"find", list, "-"}, input), Answers(plain));
    EXPECT_EQ(RunTool({"find", "--all", list, "-"}, input), Answers(all));
    EXPECT_EQ(RunTool({"find", list + ", ldap:miss", "-"}, input), Answers(plain));
    EXPECT_EQ(
        RunTool({"find", list, "user7@corp.lan", "-", "user0@corp.lan"}, input),
        Answers("user7@corp.lan\t" + longer + "7\n" + plain + "user0@corp.lan\t" + longer + "0\n"));
    EXPECT_EQ(RunTool({"find", "file:" + dir.Path("missing") + "," + list, "-"}, input).out, plain);
    EXPECT_EQ(RunTool({"find", "nobody@corp.lan", "-"}, input), NOTHING_FOUND);
    const ProgramResult full = RunToolInShell(
        "exec \"$@\" < '" + dir.Write("input", input) + "' > /dev/full", {"find", list, "-"});
    EXPECT_EQ(full.status, Output);
    EXPECT_EQ(Lines(full.err).size(), 1u) << full.err;
}

TEST(ToolFind, ManyExactSearchesAskEachFile) {
    const TempDir dir;
    const std::string list = "literal, file:" + dir.Write("one", "a\nboth\nA\n") +
                             ", file:" + dir.Write("two", "b\nboth\n") +
                             ", file:" + dir.Path("missing") + ", last";
    std::string texts, answers;
    for (const char* text : {"a", "b", "both", "none", "literal", "last", ""}) {
        texts += text + "\n"s;
        if (*text != '\0' && text != "none"s)
            answers += text + "\t"s + text + "\n";
    }
    std::string all_texts, all_answers;
    for (int i = 0; i < 100; ++i) {
        all_texts += texts;
        all_answers += answers;
    }
    EXPECT_EQ(RunTool({"find", "--exact", list, "-"}, all_texts).out, all_answers);
}

TEST(ToolFind, LinesOfAnySizeAreAnsweredInTheirOrder) {
    std::mt19937 random(5);
    std::string list, lines, ended, answers, ended_answers;
    for (int line = 0; line < 6000; ++line) { // more than one thread answers
        const std::size_t size = line % 500 == 0 ? random() % 100'000 : random() % 20;
        const std::string text =
            random() % 10 == 0 ? "" : std::to_string(line) + std::string(size, 'x');
        const std::string answer = text + '\t' + text;
        list += text + '\n';
        lines += text + (random() % 3 == 0 ? "\r\n" : "\n");
        ended += text + '\0';
        answers += answer + '\n';
        ended_answers += answer + '\0';
    }
    const TempDir dir;
    const std::string items = "\"\", last, file:" + dir.Write("list", list);
    // The last line needs no line end.
    EXPECT_TRUE(RunTool({"find", "--exact", items, "-"}, lines) == Answers(answers));
    EXPECT_TRUE(RunTool({"find", "--exact", items, "-"}, lines + "last") ==
                Answers(answers + "last\tlast\n"));
    EXPECT_TRUE(RunTool({"find", "--exact", "--null", items, "-"}, ended + "last") ==
                Answers(ended_answers + "last\tlast" + '\0'));
}

TEST(ToolFind, ATextOfStandardInputThatIsTooLongIsAnError) {
    const std::string longest(16 << 20, 'x');
    EXPECT_EQ(RunTool({"find", "a", "-"}, longest + "\na\n"), Answers("a\ta\n"));
    std::string many;
    for (int line = 0; line < 5000; ++line) // more than one thread answers
        many += "a\n";
    EXPECT_THAT(RunTool({"find", "a", "-"}, many + longest + "x\na\n").err,
                HasSubstr("line 5001 is longer than 16777216 bytes\n"));
    for (const char* command : {"find", "compare", "-q"}) {
        const ProgramResult result =
            command == "-q"s     ? RunTool({"-q", "-", "a"}, "a\n" + longest + "x\na\n")
            : command == "find"s ? RunTool({command, "a", "-"}, "a\n" + longest + "x\na\n")
                                 : RunTool({command, "a", "a"}, "a\n" + longest + "x\na\n");
        EXPECT_THAT(result.err, HasSubstr("cannot read standard input: line 2 is longer than "
                                          "16777216 bytes\n"))
            << command;
    }
}

TEST(ToolFind, EveryTextIsTakenAsItIs) {
    for (const std::string& text : {"[10.0.0.1]"s, "[a]"s, "[]"s, "[]]"s, "[a b]"s, "{}"s, "%%"s,
                                    "a=b"s, "find"s, "types"s, "@"s, "\xff"s, "'"s, "$x"s}) {
        SCOPED_TRACE(text);
        EXPECT_EQ(RunTool({"find", text, text}), Answers(text + "\t" + text + "\n"));
        EXPECT_EQ(RunTool({"find", text, "no", text, "no", text}),
                  Answers(text + "\t" + text + "\n" + text + "\t" + text + "\n"));
    }
    EXPECT_EQ(RunTool({"find", "a,b", "[a,b]"}), NOTHING_FOUND);
    EXPECT_EQ(RunTool({"find", "\"[a,b]\"", "[a,b]"}), Answers("[a,b]\t[a,b]\n"));
    EXPECT_EQ(RunTool({"find", "\"\"", ""}), Answers("\t\n"));
    EXPECT_EQ(RunTool({"find", "", ""}), NOTHING_FOUND);
    EXPECT_EQ(RunTool({"find", "--", "-x", "--json", "-x"}), Answers("-x\t-x\n"));
    EXPECT_EQ(RunTool({"find", "value:-", "--exact", "a", "-"}, "-\n"), Answers("-\t-\n"));
}

TEST(ToolFind, OptionsMayStandAnywhere) {
    const ProgramResult expected = Answers("{\"text\":\"a\",\"result\":\"a\"}\n");
    EXPECT_EQ(RunTool({"find", "--json", "a", "a"}), expected);
    EXPECT_EQ(RunTool({"find", "a", "--json", "a"}), expected);
    EXPECT_EQ(RunTool({"find", "a", "a", "--json"}), expected);
    EXPECT_EQ(RunTool({"find", "a", "b", "--json", "a"}), expected);
}

TEST(ToolFind, ExactComparesWholeTexts) {
    const TempDir dir;
    const std::string file = "file:" + dir.Write("list", "b\na x\nA\nJ\xe4@corp.lan\n");
    EXPECT_EQ(RunTool({"find", "--exact", file, "A"}), Answers("A\tA\n"));
    EXPECT_EQ(RunTool({"find", "--exact", file, "a"}), NOTHING_FOUND);
    EXPECT_EQ(RunTool({"find", "--exact", file, "a x"}), Answers("a x\ta x\n"));
    EXPECT_EQ(RunTool({"find", "--exact", "corp.lan", "jdoe@corp.lan"}), NOTHING_FOUND);
    EXPECT_EQ(RunTool({"find", "--exact", "corp.lan", "<corp.lan>"}), NOTHING_FOUND);

    EXPECT_EQ(RunTool({"find", "--exact", "--ignore-case", file, "a"}), Answers("a\tA\n"));
    EXPECT_EQ(RunTool({"find", "--exact", "--ignore-case", file, "A X"}), Answers("A X\ta x\n"));
    EXPECT_EQ(RunTool({"find", "--exact", "--ignore-case", "Root", "rOOT"}),
              Answers("rOOT\tRoot\n"));
    EXPECT_EQ(RunTool({"find", "--exact", "--ignore-case", file, "c"}), NOTHING_FOUND);
}

TEST(ToolFind, FlagBitsReachThePlugin) {
    const struct {
        std::vector<std::string> options;
        const char* flags;
    } cases[] = {
        {{}, "0"},
        {{"--exact"}, "1"},
        {{"--ignore-case"}, "2"},
        {{"--strip-brackets"}, "4"},
        {{"--domain"}, "8"},
        {{"--exact", "--ignore-case", "--strip-brackets", "--domain"}, "15"},
    };
    for (const auto& c : cases) {
        std::vector<std::string> arguments = {"find", "ldap:flags", "x"};
        arguments.insert(arguments.end(), c.options.begin(), c.options.end());
        EXPECT_EQ(RunTool(arguments), Answers("x\t"s + c.flags + "\n"));
    }
}

TEST(ToolFind, AllAsksEveryItem) {
    const TempDir dir;
    const std::string file = "file:" + dir.Write("list", "jdoe@ one\ncorp.lan two\n");
    const std::string list = "corp.lan, " + file + ", else.org, @corp.lan three";
    EXPECT_EQ(RunTool({"find", list, "jdoe@corp.lan"}), Answers("jdoe@corp.lan\tcorp.lan\n"));
    EXPECT_EQ(RunTool({"find", "--all", list, "jdoe@corp.lan"}),
              Answers("jdoe@corp.lan\tcorp.lan\njdoe@corp.lan\tone\njdoe@corp.lan\tthree\n"));
}

TEST(ToolFind, NothingOfOneItemIsShownForTheNext) {
    EXPECT_EQ(RunTool({"find", "--all", "--explain", "corp.lan OK, ldap:found", "corp.lan"}),
              Answers("corp.lan\tOK\tcorp.lan OK\tcorp.lan OK\t\n"
                      "corp.lan\tcorp.lan\tldap:found\t\t\n"));
    const ProgramResult result =
        RunTool({"find", "ldap:broken after a result, other.org", "corp.lan"});
    EXPECT_EQ(result.status, Unavailable);
    EXPECT_EQ(result.out, "");
}

TEST(ToolFind, ExplainNamesItemValueAndFile) {
    const TempDir dir;
    const std::string name = dir.Write("list, with \"quotes\" and \\", "corp.lan\tOK\n@b.org\n");
    std::string quoted;
    for (const char c : "file:" + name)
        quoted += c == '"' || c == '\\' ? "\\"s + c : std::string(1, c);
    const std::string list = "\" root@a.org \", \"" + quoted + "\"";
    EXPECT_EQ(RunTool({"find", "--explain", list, "jdoe@corp.lan", "x@b.org", " root@a.org "}),
              Answers("jdoe@corp.lan\tOK\tfile:" + name + "\tcorp.lan\\x09OK\t" + name +
                      "\n"
                      "x@b.org\t@b.org\tfile:" +
                      name + "\t@b.org\t" + name +
                      "\n"
                      " root@a.org \t root@a.org \t root@a.org \t root@a.org \t\n"));

    const ProgramResult missed = RunTool({"find", "--explain", "a", "x\ny", "a"});
    EXPECT_EQ(missed.status, Found);
    EXPECT_EQ(missed.out, "a\ta\ta\ta\t\n");
    EXPECT_EQ(missed.err, "kwlookup: no item answered for [x\\x0ay]\n");
}

TEST(ToolFind, EscapesFieldsUnlessRaw) {
    const struct {
        std::string text;
        std::string shown;
    } cases[] = {
        {"\x1b]0;T\x07", "\\x1b]0;T\\x07"},
        {"a\tb\nc\rd\x7f", "a\\x09b\\x0ac\\x0dd\\x7f"},
        {"caf\xe9 caf\xc3\xa9 \x80\x9f", "caf\xe9 caf\xc3\xa9 \x80\x9f"},
        {"\xc2\x9b\x31 \xc2\x80\xc2\xa0\xc2", "\\xc2\\x9b\x31 \\xc2\\x80\xc2\xa0\xc2"},
        {"^a\\.b\\x4\\x\\", "^a\\.b\\x4\\x\\"},
        {"\\x1b \\xAf \\\x1b", "\\x5cx1b \\x5cxAf \\\\x1b"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.shown);
        std::string item = "\"";
        for (const char byte : c.text)
            item += byte == '\\' ? "\\\\" : std::string(1, byte);
        item += " result\tof " + std::string("it\"");
        const std::string end = "\tresult\\x09of it\n";
        const std::string list = "value:" + item;
        if (c.text.find_first_of(" \t\n\r") == std::string::npos) {
            EXPECT_EQ(RunTool({"find", item, c.text}).out, c.shown + end);
            EXPECT_EQ(RunTool({"find", "--raw", item, c.text}).out, c.text + "\tresult\tof it\n");
        }
        EXPECT_EQ(RunTool({"find", "ldap:found", c.text}).out, c.shown + "\t" + c.shown + "\n");
        EXPECT_EQ(RunTool({"find", "--raw", "ldap:found", c.text}).out,
                  c.text + "\t" + c.text + "\n");
    }
}

// With any bytes, the fields of a line can be split and decoded.
TEST(ToolFind, EscapedFieldsAreUnambiguous) {
    std::mt19937 random(1);
    const std::string alphabet = "\\x0019afA\t\n\x1b\x7f\xc2\x9b z"s;
    std::string input;
    std::vector<std::string> texts;
    for (int i = 0; i < 20000; ++i) {
        std::string text;
        for (auto length = random() % 12; length > 0; --length)
            text += alphabet[random() % alphabet.size()];
        texts.push_back(text);
        input += text + '\0';
    }
    const std::vector<std::string> lines =
        Lines(RunTool({"find", "-0", "ldap:found", "-"}, input).out, '\0');
    ASSERT_EQ(lines.size(), texts.size());
    for (std::size_t i = 0; i < lines.size(); ++i) {
        const std::vector<std::string> fields = Lines(lines[i], '\t');
        ASSERT_EQ(fields.size(), texts[i].empty() ? 1U : 2U);
        std::string text;
        for (std::size_t at = 0; at < fields[0].size(); ++at) {
            const std::string& field = fields[0];
            const bool escape = field.size() - at >= 4 && field[at] == '\\' &&
                                field[at + 1] == 'x' &&
                                std::isxdigit(static_cast<unsigned char>(field[at + 2])) &&
                                std::isxdigit(static_cast<unsigned char>(field[at + 3]));
            text += escape ? static_cast<char>(std::stoi(field.substr(at + 2, 2), nullptr, 16))
                           : field[at];
            at += escape ? 3 : 0;
        }
        ASSERT_EQ(text, texts[i]) << lines[i];
    }
}

TEST(ToolFind, NullSeparatesTextsAndAnswers) {
    EXPECT_EQ(RunTool({"find", "--null", "a, \"b\n\", \"c\r\"", "-"}, "a\0b\n\0c\r\0x\0a"s),
              Answers("a\ta\0b\\x0a\tb\\x0a\0c\\x0d\tc\\x0d\0a\ta\0"s));
    EXPECT_EQ(RunTool({"find", "-0", "--raw", "\"b\n\"", "b\n"}), Answers("b\n\tb\n\0"s));
    EXPECT_EQ(RunTool({"find", "-0", "--json", "a", "a"}),
              Answers("{\"text\":\"a\",\"result\":\"a\"}\0"s));
    EXPECT_EQ(RunTool({"watch", "-0", "a"}, "a\0b\0"s), Answers("a\ta\0"s));
}

TEST(ToolFind, LongMessagesAreShortened) {
    const ProgramResult plain =
        RunTool({"find", "--explain", "ldap:broken", "-"}, std::string(1000000, 'a') + "\n");
    const std::string quoted = std::string(200, 'a') + "... (1000000 bytes)]";
    EXPECT_EQ(plain.err, "kwlookup: error: [ldap:broken] could not answer for [" + quoted +
                             ": cannot \\x1b answer\nkwlookup: no item answered for [" + quoted +
                             "\n");
    const ProgramResult control =
        RunTool({"find", "--explain", "ldap:broken", std::string(400, '\1')});
    const std::vector<std::string> lines = Lines(control.err);
    ASSERT_EQ(lines.size(), 2U);
    for (const std::string& line : lines)
        EXPECT_LT(line.size(), 1000U);
}

TEST(ToolQuery, PrintsAndExitsAsPostmap) {
    const TempDir dir;
    const std::string file = "file:" + dir.Write("list", "@corp.lan 550\tgo  away\nother.org\n");
    EXPECT_EQ(RunTool({"-q", "jdoe@corp.lan", file}), Answers("550\tgo  away\n"));
    EXPECT_EQ(RunTool({"-q", "jdoe@other.org", file}), Answers("other.org\n"));
    EXPECT_EQ(RunTool({"-q", "x", "ldap:found"}), Answers("x\n"));
    EXPECT_EQ(RunTool({"-q", "jdoe@else.org", file}), NOTHING_FOUND);
    EXPECT_EQ(RunTool({"-q", "-", file}, "a@corp.lan\nb@else.org\r\nb@other.org\r\n"),
              Answers("a@corp.lan\t550\tgo  away\nb@other.org\tother.org\n"));
    EXPECT_EQ(RunTool({"-q", "-", file}, "b@else.org\n"), NOTHING_FOUND);
    EXPECT_EQ(RunTool({"-q", "-", file}, ""), NOTHING_FOUND);
    EXPECT_EQ(RunTool({"-q", "[a,b]", "\"[a,b]\""}), Answers("[a,b]\n"));
    EXPECT_EQ(RunTool({"-q", "-x", "value:-x"}), Answers("-x\n"));
    EXPECT_EQ(RunTool({"-q", "find", "find"}), Answers("find\n"));
}

TEST(ToolQuery, AFaultIsReportedAndIsAFailure) {
    const std::string error =
        "kwlookup: error: [ldap:broken] could not answer for [x]: cannot \\x1b answer\n";
    EXPECT_EQ(RunTool({"-q", "x", "ldap:broken"}), (ProgramResult{NotFound, "", error}));
    EXPECT_EQ(RunTool({"-q", "x", "ldap:broken, x"}), (ProgramResult{NotFound, "x\n", error}));
    EXPECT_EQ(RunTool({"-q", "x", "x, ldap:broken"}), Answers("x\n"));
    for (const char* list : {"nosuch:x, x", "\"x"}) {
        const ProgramResult result = RunTool({"-q", "x", list});
        EXPECT_EQ(result.status, NotFound);
        EXPECT_THAT(result.err, HasSubstr("kwlookup: error: "));
    }
    EXPECT_EQ(RunToolInShell("exec \"$@\" >/dev/full", {"-q", "x", "x"}).status, NotFound);
}

TEST(ToolFind, JsonPrintsOneObjectALine) {
    const TempDir dir;
    const std::string name = dir.Write("list", "corp.lan \"OK\"\n");
    EXPECT_EQ(RunTool({"find", "--json", "file:" + name, "a\tb@corp.lan"}),
              Answers("{\"text\":\"a\\tb@corp.lan\",\"result\":\"\\\"OK\\\"\"}\n"));
    EXPECT_EQ(RunTool({"find", "--json", "--explain", "file:" + name, "corp.lan"}),
              Answers("{\"text\":\"corp.lan\",\"result\":\"\\\"OK\\\"\",\"item\":\"file:" + name +
                      "\",\"value\":\"corp.lan \\\"OK\\\"\",\"file\":\"" + name + "\"}\n"));
}

TEST(ToolFind, JsonIsValidWithAnyBytes) {
    std::mt19937 random(1);
    std::string texts;
    for (int byte = 0; byte < 256; ++byte)
        if (byte != '\n')
            texts += static_cast<char>(byte) + "@corp.lan\n"s;
    for (int line = 0; line < 500; ++line) {
        for (auto length = random() % 20; length-- > 0;) {
            const char byte = static_cast<char>(random());
            texts += byte == '\n' ? '\xc3' : byte;
        }
        texts += "@corp.lan\n";
    }
    texts += "\xf4\x90\x80\x80 \xed\xa0\x80 \xc0\xaf \xe2\x80\xa8@corp.lan\n";
    const ProgramResult result = RunTool({"find", "--json", "--explain", "corp.lan", "-"}, texts);
    EXPECT_EQ(result.status, Found);
    const std::vector<std::string> lines = Lines(result.out);
    EXPECT_EQ(lines.size(), Lines(texts).size());
    for (const std::string& line : lines) {
        SCOPED_TRACE(testing::PrintToString(line));
        const auto json = nlohmann::json::parse(line, nullptr, false);
        ASSERT_TRUE(json.is_object());
        EXPECT_THAT(json.at("text").get<std::string>(), testing::EndsWith("@corp.lan"));
        EXPECT_EQ(json.at("result"), "corp.lan");
    }
}

TEST(ToolFind, ReadsTextsFromStandardInput) {
    // The last line needs no newline. A carriage return at the end of a line is not part of the
    // text.
    EXPECT_EQ(RunTool({"find", "a,b,\"\"", "-"}, "a\r\nx\n\nb\r\r\na\rb\nb"),
              Answers("a\ta\n\t\nb\tb\n"));
    EXPECT_EQ(RunTool({"find", "a,b,c", "c", "-", "b"}, "a\n"), Answers("c\tc\na\ta\nb\tb\n"));
    EXPECT_EQ(RunTool({"find", "a", "-", "-"}, "a\n"), Answers("a\ta\n"));
    EXPECT_EQ(RunTool({"find", "a", "-"}, ""), NOTHING_FOUND);
    const std::string bytes = "j\0\xe4 \x1b"s;
    EXPECT_EQ(RunTool({"find", "--exact", "j, \\\\", "-"}, bytes + "\nj\n"), Answers("j\tj\n"));
}

TEST(ToolFind, AnswersBeforeStandardInputEnds) {
    RunningProgram tool(ToolArguments({"find", "a,b", "b", "-"}), TOOL_ENVIRONMENT);
    EXPECT_EQ(tool.ReadLine(), "b\tb"); // before anything is written
    tool.Write("a\n");
    EXPECT_EQ(tool.ReadLine(), "a\ta");
    tool.Write("x\nb\na");
    EXPECT_EQ(tool.ReadLine(), "b\tb");
    tool.Write("\n");
    EXPECT_EQ(tool.ReadLine(), "a\ta");
    tool.Write("b");
    EXPECT_EQ(tool.Finish(), Answers("b\tb\n"));
}

/// The peak memory of a process, in KiB.
long PeakMemory(pid_t pid) {
    std::ifstream status("/proc/" + std::to_string(pid) + "/status");
    for (std::string word; status >> word;)
        if (word == "VmHWM:") {
            long size = 0;
            status >> size;
            return size;
        }
    return -1;
}

TEST(ToolFind, DoesNotGrowOverAMillionLines) {
    const std::vector<std::string> environment = {"ASAN_OPTIONS=quarantine_size_mb=1"};
    for (const char* option : {"--all", "--exact"}) {
        SCOPED_TRACE(option);
        RunningProgram tool(ToolArguments({"find", option, "jdoe@corp.lan, a, b", "-"}),
                            environment);
        std::string block;
        for (int line = 0; line < 500; ++line)
            block += "nobody-" + std::to_string(line) + "@corp.lan.example\njdoe@corp.lan\n";
        constexpr int LINES_A_BLOCK = 1000;
        long early = 0;
        for (int line = 0; line < 1'000'000; line += LINES_A_BLOCK) {
            if (line == 100'000)
                early = PeakMemory(tool.GetPid());
            tool.Write(block);
            for (int answer = 0; answer < LINES_A_BLOCK / 2; ++answer)
                ASSERT_EQ(tool.ReadLine(), "jdoe@corp.lan\tjdoe@corp.lan");
        }
        ASSERT_GT(early, 0);
        EXPECT_LT(PeakMemory(tool.GetPid()), early + 3 * 1024);
        EXPECT_EQ(tool.Finish(), Answers(""));
    }
}

TEST(ToolFind, VerboseShowsTheMessagesOfTheLibraryOnStandardError) {
    const TempDir dir;
    const std::string name = dir.Write("list", "corp.lan\n");
    for (const auto& arguments : std::vector<std::vector<std::string>>{
             {"-v", "find", "file:" + name, "corp.lan"},
             {"find", "--verbose", "file:" + name, "corp.lan"},
         }) {
        const ProgramResult result = RunTool(arguments);
        EXPECT_EQ(result.status, Found);
        EXPECT_EQ(result.out, "corp.lan\tcorp.lan\n");
        EXPECT_THAT(result.err, HasSubstr("kwlookup: debug: KwFileLookup: loaded 1 records from " +
                                          name + " file.\n"));
        EXPECT_THAT(result.err, HasSubstr("kwlookup: debug: KwLookupHolder::Find: found corp.lan "
                                          "matched with corp.lan (from " +
                                          name + ")\n"));
    }
}

TEST(ToolFind, AHostileTextCannotForgeALine) {
    const std::string forged = "x@corp.lan\nkwlookup: error: forged";
    const std::string escapes = "\x1b[2J\x07\xff\xc2\x9b\\x@corp.lan";
    const ProgramResult result =
        RunTool({"find", "-v", "--explain", "ldap:broken, other.org, corp.lan", forged, "-"},
                escapes + "\nkwlookup: error: forged\na\0b\n"s);
    EXPECT_THAT(result.err, testing::Not(HasSubstr("\nkwlookup: error: forged")));
    EXPECT_THAT(result.err,
                HasSubstr("kwlookup: error: [ldap:broken] could not answer for "
                          "[x@corp.lan\\x0akwlookup: error: forged]: cannot \\x1b answer\n"));
    EXPECT_THAT(result.err, HasSubstr("[\\x1b[2J\\x07\\xff\\xc2\\x9b\\x5cx@corp.lan]"));
    EXPECT_THAT(result.err, HasSubstr("kwlookup: no item answered for [a\\x00b]\n"));
    for (const std::string& line : Lines(result.err)) {
        EXPECT_THAT(line, testing::StartsWith("kwlookup: "));
        EXPECT_THAT(line, testing::Each(testing::AllOf(testing::Ge(' '), testing::Le('~'))));
    }
}

TEST(ToolFind, ReportsAPluginThatCannotAnswer) {
    const std::string error =
        "kwlookup: error: [ldap:broken] could not answer for [x]: cannot \\x1b answer\n";
    EXPECT_EQ(RunTool({"find", "ldap:broken", "x"}), (ProgramResult{Unavailable, "", error}));
    EXPECT_EQ(RunTool({"find", "ldap:broken, y", "x"}), (ProgramResult{Unavailable, "", error}));
    EXPECT_EQ(RunTool({"find", "ldap:broken, x", "x"}), (ProgramResult{Found, "x\tx\n", error}));
    EXPECT_EQ(
        RunTool({"find", "ldap:odd, x", "x"}),
        (ProgramResult{Found, "x\tx\n", "kwlookup: error: [ldap:odd] could not answer for [x]\n"}));
    EXPECT_EQ(RunTool({"find", "x, ldap:broken", "x"}), Answers("x\tx\n"));
    EXPECT_EQ(RunTool({"find", "--all", "x, ldap:broken", "x"}),
              (ProgramResult{Found, "x\tx\n", error}));
    EXPECT_EQ(RunTool({"find", "--strict", "ldap:broken", "x"}).status, BadList);
    EXPECT_EQ(RunTool({"check", "ldap:broken"}).status, BadList);
    EXPECT_EQ(RunTool({"check", "--no-open", "ldap:broken"}),
              Answers("1 object, 1 record, 0 errors\n"));
}

TEST(ToolFind, ReportsAnswersThatCannotBeWritten) {
    for (const char* command : {"exec \"$@\" >/dev/full", "exec \"$@\" >&-",
                                "yes a | head -100000 | \"$@\" - >/dev/full"}) {
        SCOPED_TRACE(command);
        const ProgramResult result = RunToolInShell(command, {"find", "a", "a"});
        EXPECT_EQ(result.status, Output);
        EXPECT_THAT(result.err, testing::StartsWith("kwlookup: error: cannot write the answers: "));
        EXPECT_EQ(Lines(result.err).size(), 1u);
    }
    // Without output there is no error.
    EXPECT_EQ(RunToolInShell("exec \"$@\" >/dev/full", {"find", "a", "b"}), NOTHING_FOUND);
    for (const char* help : {"--help", "--version"})
        EXPECT_EQ(RunToolInShell("exec \"$@\" >/dev/full", {help}).status, Output);
    for (const auto& arguments : {std::vector<std::string>{"check", "a"}, {"types"}}) {
        const ProgramResult result = RunToolInShell("exec \"$@\" >/dev/full", arguments);
        EXPECT_EQ(result.status, Output);
        EXPECT_EQ(result.err, "kwlookup: error: cannot write to standard output\n");
    }
}

TEST(ToolFind, ReportsStandardInputThatCannotBeRead) {
    const struct {
        const char* command;
        const char* reason;
    } cases[] = {{"exec \"$@\" </", "Is a directory"}, {"exec \"$@\" <&-", "Bad file descriptor"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.command);
        const std::string error =
            "kwlookup: error: cannot read standard input: "s + c.reason + "\n";
        EXPECT_EQ(RunToolInShell(c.command, {"find", "a", "-"}),
                  (ProgramResult{Unavailable, "", error}));
        EXPECT_EQ(RunToolInShell(c.command, {"find", "a", "-", "a"}),
                  (ProgramResult{Found, "a\ta\n", error}));
        EXPECT_EQ(RunToolInShell(c.command, {"watch", "a"}),
                  (ProgramResult{Unavailable, "", error}));
    }
}

TEST(ToolCheck, CountsObjectsAndRecords) {
    const TempDir dir;
    const std::string file = "file:" + dir.Write("list", "a\n\n  \nb\nc\n");
    EXPECT_EQ(RunTool({"check", "a"}), Answers("1 object, 1 record, 0 errors\n"));
    EXPECT_EQ(RunTool({"check", ""}), Answers("0 objects, 0 records, 0 errors\n"));
    EXPECT_EQ(RunTool({"check", file}), Answers("1 object, 3 records, 0 errors\n"));
    EXPECT_EQ(RunTool({"check", "x, " + file + ", ldap:found, value:y"}),
              Answers("4 objects, 6 records, 0 errors\n"));
    EXPECT_EQ(
        RunTool({"check", "a, nosuch:b"}),
        (ProgramResult{BadList, "1 object, 1 record, 1 error\n",
                       "kwlookup: error: Error in init lookup [nosuch:b]: unknown id "
                       "'nosuch'\n"
                       "kwlookup: hint: 'kwlookup types' lists the types; a value with a colon "
                       "in it is written 'value:nosuch:b'; for a plug-in from elsewhere, add "
                       "--type nosuch\n"}));
}

TEST(ToolUsage, WrongUsage) {
    const std::vector<std::string> cases[] = {
        {},
        {"nosuch"},
        {"find"},
        {"find", "a"},
        {"find", "a", "--json"},
        {"find", "a", "a", "--nosuch"},
        {"find", "a", "a", "-x"},
        {"check"},
        {"check", "a", "b"},
        {"check", "--exact", "a"},
        {"types", "a"},
        {"types", "find", "a", "b"},
        {"watch", "a", "types"},
        {"--nosuch"},
        {"-q", "a"},
        {"-q", "a", "b", "c"},
        {"-q", "a", "b", "types"},
        {"completion"},
        {"completion", "csh"},
    };
    for (const auto& arguments : cases) {
        SCOPED_TRACE(testing::PrintToString(arguments));
        const ProgramResult result = RunTool(arguments);
        EXPECT_EQ(result.status, Usage);
        EXPECT_EQ(result.out, "");
        EXPECT_THAT(result.err, HasSubstr("--help"));
    }
    EXPECT_THAT(RunTool({"nosuch"}).err, HasSubstr("nosuch"));
    EXPECT_EQ(RunTool({"check", "types"}), Answers("1 object, 1 record, 0 errors\n"))
        << "a list may be named as a command is";
}

TEST(ToolUsage, HelpTeachesByExample) {
    for (const auto& arguments :
         {std::vector<std::string>{"--help"}, {"-h"}, {"find", "--help"}, {"find", "-h"}}) {
        const ProgramResult result = RunTool(arguments);
        EXPECT_EQ(result.status, Found);
        EXPECT_EQ(result.err, "");
        EXPECT_THAT(result.out, HasSubstr("Examples:\n  kwlookup find 'root@corp.lan, "
                                          "file:/etc/mail/blocked' jdoe@corp.lan\n"));
    }
    EXPECT_THAT(RunTool({"find", "--help"}).out, HasSubstr("LIST TEXT..."));
    for (const char* command : {"find", "watch", "check", "compare", "types"}) {
        const std::string help = RunTool({command, "--help"}).out;
        EXPECT_THAT(help.substr(help.find("Example")), HasSubstr(std::string(" ") + command));
    }
}

TEST(ToolUsage, Version) {
    EXPECT_EQ(RunTool({"--version"}), Answers("kwlookup " KWLOOKUP_VERSION "\n"));
}

} // namespace
