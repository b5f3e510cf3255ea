// SPDX-License-Identifier: MIT
#include "support/PseudoTerminal.h"
#include "support/TempDir.h"
#include "tools/Tool.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

using testing::HasSubstr;

namespace {

using namespace kwlookup;

class ToolCompletion : public testing::Test {
protected:
    /// A file with the script that `kwlookup completion` prints for a shell.
    std::string Script(const std::string& shell) const {
        const ProgramResult script = RunTool({"completion", shell});
        EXPECT_EQ(script.status, 0);
        EXPECT_EQ(script.err, "");
        return m_dir.Write(shell, script.out);
    }

    /// Run a shell, which must not print errors, and return its output. The variables `$script` and
    /// `$dir` are set.
    std::string Run(const std::vector<std::string>& shell, const std::string& commands) const {
        std::vector<std::string> arguments = {
            "/usr/bin/env", "HOME=" + m_dir.Path(""), "XDG_CONFIG_HOME=" + m_dir.Path(""),
            "LC_ALL=C",     "dir=" + m_dir.Path(""),  "script=" + Script(shell[0])};
        arguments.insert(arguments.end(), shell.begin(), shell.end());
        arguments.push_back(commands);
        const ProgramResult result = RunProgram(arguments);
        EXPECT_EQ(result.err, "");
        return result.out;
    }

    const TempDir m_dir;
};

TEST_F(ToolCompletion, BashCompletes) {
    const std::string complete = R"(
        . "$script"
        complete -p kwlookup
        for words in 'fin' 'find --ex' 'find --j' 'build ' 'build c' 'build cdb --k' 'find a --strict --e' \
                     'completion ' 'completion z' '--conf' '--config ' 'find a' 'w' ''; do
            IFS=/ read -ra list <<<"${words// //}"
            [[ $words == *' ' || -z $words ]] && list+=('')
            COMP_WORDS=(kwlookup "${list[@]}"); COMP_CWORD=${#list[@]}; COMPREPLY=()
            _kwlookup
            echo "$words: ${COMPREPLY[*]}"
        done)";
    const std::string out = Run({"bash", "--norc", "-c"}, complete);
    EXPECT_THAT(out, testing::StartsWith("complete -o default -F _kwlookup kwlookup\n"
                                         "fin: find\n"
                                         "find --ex: --exact --explain\n"
                                         "find --j: --json\n"
                                         "build : cdb lmdb\n"
                                         "build c: cdb\n"
                                         "build cdb --k: --keep-case\n"
                                         "find a --strict --e: --exact --explain\n"
                                         "completion : bash zsh fish\n"
                                         "completion z: zsh\n"
                                         "--conf: --config\n"
                                         "--config : \n"
                                         "find a: \n"
                                         "w: watch\n"));
    EXPECT_THAT(out.substr(out.rfind("\n: ")), HasSubstr(" find watch check "));
}

TEST_F(ToolCompletion, FishCompletes) {
    const auto ask = [this](const std::string& line) {
        return Run({"fish", "--no-config", "-c"},
                   "cd $dir; source $script; complete -C '" + line + "'");
    };
    EXPECT_EQ(ask("kwlookup fin"), "find\tAsk a list about texts\n");
    EXPECT_THAT(ask("kwlookup "), HasSubstr("build\tMake a database file from a text file\n"));
    EXPECT_THAT(ask("kwlookup build "), HasSubstr("cdb\tMake a cdb file\n"));
    EXPECT_EQ(ask("kwlookup build cdb --keep"),
              "--keep-case\tDo not convert the keys to lower case\n");
    EXPECT_EQ(ask("kwlookup find a --js"), "--json\tPrint one JSON object a line\n");
    EXPECT_EQ(ask("kwlookup check --js"), "");
    EXPECT_EQ(ask("kwlookup completion z"), "zsh\n");
    m_dir.Write("one.conf", "");
    EXPECT_EQ(ask("kwlookup --config one"), "one.conf\n");
    EXPECT_EQ(ask("kwlookup find one"), "one.conf\n");
}

TEST_F(ToolCompletion, ZshCompletes) {
    if (!HavePseudoTerminals())
        GTEST_SKIP() << "no pseudo terminal can be had, and zsh completes in one only";
    m_dir.Write("one.conf", "");
    const std::string out = Run({"zsh", "-f", "-c"}, R"(
        zmodload zsh/zpty
        zpty terminal TERM=dumb zsh -f -i
        zpty -w terminal "cd $dir; autoload -Uz compinit; compinit -u -D; source $script"
        zpty -w terminal "kwlookup() { print -r -- \"[\$*]\" }"
        zpty -w -n terminal $'kwlookup fin\t--expl\t x\n'
        zpty -w -n terminal $'kwlookup build c\t--kee\t one\t\n'
        zpty -w -n terminal $'kwlookup completion fi\t\n'
        zpty -w -n terminal $'kwlookup --conf\tone\t typ\t\n'
        zpty -w terminal exit
        while zpty -r terminal line; do print -r -- "$line"; done)");
    EXPECT_THAT(out, HasSubstr("[find --explain x]"));
    EXPECT_THAT(out, HasSubstr("[build cdb --keep-case one.conf]"));
    EXPECT_THAT(out, HasSubstr("[completion fish]"));
    EXPECT_THAT(out, HasSubstr("[--config one.conf types]"));
}

// A file of $fpath is the completion function itself.
TEST_F(ToolCompletion, ZshLoadsTheScriptFromItsPath) {
    if (!HavePseudoTerminals())
        GTEST_SKIP() << "no pseudo terminal can be had, and zsh completes in one only";
    const std::string out = Run({"zsh", "-f", "-c"}, R"(
        cp $script $dir/_kwlookup
        zmodload zsh/zpty
        zpty terminal TERM=dumb zsh -f -i
        zpty -w terminal "fpath+=($dir); autoload -Uz compinit; compinit -u -D"
        zpty -w terminal "kwlookup() { print -r -- \"[\$*]\" }"
        zpty -w -n terminal $'kwlookup fin\tx\n'
        zpty -w -n terminal $'kwlookup fin\ty\n'
        zpty -w terminal exit
        while zpty -r terminal line; do print -r -- "$line"; done)");
    EXPECT_THAT(out, HasSubstr("[find x]"));
    EXPECT_THAT(out, HasSubstr("[find y]"));
}

} // namespace
