// SPDX-License-Identifier: MIT
#include "kwlog/Logging.h"

#include "host/LogText.h"
#include "support/CapturedStandardError.h"
#include "support/TempDir.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

using namespace std::string_literals;
using log4cxx::Level;

namespace {

using namespace kwlookup;

/// The levels that are enabled before SetLogging() is called, recorded while the program starts.
const struct DefaultLevels {
    const LogClass log{"early"};
    const bool error = log.isErrorEnabled();
    const bool warn = log.isWarnEnabled();
    const bool debug = log.isDebugEnabled();
} g_default;

std::string ReadFile(const std::string& name) {
    std::ifstream in(name, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

class Logging : public testing::Test {
protected:
    ~Logging() override { SetLogging(LogTarget::StandardError, Level::LEVEL_WARN); }

    const TempDir m_dir;
    const LogClass m_log{"name"};
};

TEST_F(Logging, ErrorsAndWarningsAreEnabledAtFirst) {
    EXPECT_TRUE(g_default.error);
    EXPECT_TRUE(g_default.warn);
    EXPECT_FALSE(g_default.debug);
}

TEST_F(Logging, EnablesTheLevelsUpToTheGivenOne) {
    for (const Level::LevelEnum level :
         {Level::LEVEL_ERROR, Level::LEVEL_DEBUG, Level::LEVEL_WARN}) {
        SCOPED_TRACE(level);
        SetLogging(LogTarget::StandardError, level);
        // It applies to existing loggers and to later ones.
        for (const LogClass& log : {g_default.log, m_log, LogClass("new")}) {
            EXPECT_TRUE(log.isErrorEnabled());
            EXPECT_EQ(log.isWarnEnabled(), level >= Level::LEVEL_WARN);
            EXPECT_EQ(log.isDebugEnabled(), level >= Level::LEVEL_DEBUG);
        }
    }
}

TEST_F(Logging, ALoggerWithoutANameIsSilent) {
    SetLogging(LogTarget::StandardError, Level::LEVEL_DEBUG);
    const LogClass silent("");
    EXPECT_FALSE(silent.isErrorEnabled());
    EXPECT_FALSE(silent.isWarnEnabled());
    EXPECT_FALSE(silent.isDebugEnabled());
}

TEST_F(Logging, ForcedLogWritesAtDisabledLevels) {
    SetLogging(LogTarget::StandardError, Level::LEVEL_ERROR);
    const CapturedStandardError captured;
    m_log.forcedLog(Level::LEVEL_ERROR, "one");
    m_log.forcedLog(Level::LEVEL_WARN, "two");
    m_log.forcedLog(Level::LEVEL_DEBUG, "three");
    EXPECT_EQ(captured.GetText(), "name: error: one\nname: warning: two\nname: debug: three\n");
}

TEST_F(Logging, CopiesAndAssignedLoggersWriteUnderTheNameOfTheOriginal) {
    const CapturedStandardError captured;
    LogClass log("first");
    {
        const LogClass other("second");
        const LogClass copy(log);
        copy.forcedLog(Level::LEVEL_ERROR, "1");
        log = other;
    }
    log.forcedLog(Level::LEVEL_ERROR, "2");
    const LogClass& same = log;
    log = same;
    log.forcedLog(Level::LEVEL_ERROR, "3");
    EXPECT_EQ(captured.GetText(), "first: error: 1\nsecond: error: 2\nsecond: error: 3\n");
}

/// Returns `bytes` as a log line should show them.
std::string Expected(const std::string& bytes) {
    std::ostringstream text;
    for (const char c : bytes) {
        const int byte = static_cast<unsigned char>(c);
        if (byte < 0x20 || byte > 0x7e || byte == 0x5c)
            text << "\\x"
                 << "0123456789abcdef"[byte / 16] << "0123456789abcdef"[byte % 16];
        else
            text << c;
    }
    return text.str();
}

std::string AllBytes() {
    std::string bytes;
    for (int byte = 0; byte < 256; ++byte)
        bytes += static_cast<char>(byte);
    return bytes;
}

TEST_F(Logging, PrintableTextShowsEveryByte) {
    EXPECT_EQ(PrintableText(""), "");
    EXPECT_EQ(PrintableText("jdoe@corp.lan ~ !"), "jdoe@corp.lan ~ !");
    EXPECT_EQ(PrintableText("a\nb\\n\x7f\xff"), "a\\x0ab\\x5cn\\x7f\\xff");
    EXPECT_EQ(PrintableText("\0"s), "\\x00");
    EXPECT_EQ(PrintableText(AllBytes()), Expected(AllBytes()));
    EXPECT_EQ(PrintableText(std::string(1 << 20, '\n')).size(), 4u << 20);
}

TEST_F(Logging, OneEventIsOneLineWithAnyBytes) {
    const std::string bytes = AllBytes().substr(1); // the facade takes NUL-terminated texts
    const std::string formats = "{} {0} %s %n %v %%";
    const CapturedStandardError captured;
    m_log.forcedLog(Level::LEVEL_ERROR, bytes.c_str());
    m_log.forcedLog(Level::LEVEL_ERROR, "");
    m_log.forcedLog(Level::LEVEL_ERROR, formats.c_str());
    LogText(m_log, Level::LEVEL_ERROR, "a\0b"s);
    EXPECT_EQ(captured.GetText(), "name: error: " + Expected(bytes) +
                                      "\n"
                                      "name: error: \n"
                                      "name: error: " +
                                      formats + "\n" + "name: error: a\\x5c0b\n");
}

TEST_F(Logging, LinesHaveALimitedLength) {
    const std::size_t around = std::string("name: warning: \n").size();
    const std::string just_fits(1000 - around, 'a');
    for (const std::string& text :
         {just_fits, just_fits + "a", std::string(1 << 20, '\n'), std::string(300, '\n'),
          std::string(1001, '\n'), just_fits.substr(30) + std::string(20, '\n'),
          just_fits.substr(31) + std::string(20, '\n'),
          just_fits.substr(32) + std::string(20, '\n'),
          just_fits.substr(33) + std::string(20, '\n')}) {
        SCOPED_TRACE(text.size());
        const CapturedStandardError captured;
        m_log.forcedLog(Level::LEVEL_WARN, text.c_str());
        const std::string line = captured.GetText();
        EXPECT_LE(line.size(), 1000U);
        if (text == just_fits) {
            EXPECT_EQ(line, "name: warning: " + text + "\n");
            continue;
        }
        EXPECT_GT(line.size(), 993U) << "more is cut than need be";
        const std::string mark = "... (" + std::to_string(text.size()) + " bytes) ...";
        const std::size_t cut = line.find(mark);
        ASSERT_NE(cut, std::string::npos);
        const std::string shown = line.substr(0, cut), end = line.substr(cut + mark.size());
        EXPECT_THAT("name: warning: " + Expected(text), testing::StartsWith(shown));
        EXPECT_THAT(Expected(text) + "\n", testing::EndsWith(end));
        if (Expected(text)[0] == '\\') {
            EXPECT_THAT(shown, testing::EndsWith("\\x0a"));
            EXPECT_THAT(end, testing::StartsWith("\\x0a"));
        }
    }
}

TEST_F(Logging, AShortenedLineKeepsItsReason) {
    const CapturedStandardError captured;
    const std::string reason = "]: " + std::string(150, 'r') + "\n\n";
    m_log.forcedLog(Level::LEVEL_ERROR, ("Error in [" + std::string(5000, 'x') + reason).c_str());
    EXPECT_THAT(captured.GetText(), testing::EndsWith(Expected(reason) + "\n"));
}

TEST_F(Logging, ANameCannotForgeALine) {
    const LogClass log("a\nb %v {}\xff");
    const CapturedStandardError captured;
    log.forcedLog(Level::LEVEL_ERROR, "text");
    EXPECT_EQ(captured.GetText(), "a\\x0ab %v {}\\xff: error: text\n");
}

TEST_F(Logging, DatedLinesAreAppendedToAFile) {
    const std::string file = m_dir.Write("log", "old line\n");
    const CapturedStandardError captured;
    SetLogging(LogTarget::File, Level::LEVEL_DEBUG, file);
    m_log.forcedLog(Level::LEVEL_WARN, "a\nb");
    g_default.log.forcedLog(Level::LEVEL_DEBUG, "c");
    EXPECT_EQ(captured.GetText(), "");

    const std::string date =
        "[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3}[-+][0-9]{2}:[0-9]{2}";
    std::istringstream lines(ReadFile(file));
    std::string line;
    std::getline(lines, line);
    EXPECT_EQ(line, "old line");
    std::getline(lines, line);
    EXPECT_THAT(line, testing::MatchesRegex(date + " name: warning: a\\\\x0ab"));
    std::getline(lines, line);
    EXPECT_THAT(line, testing::MatchesRegex(date + " early: debug: c"));
    EXPECT_FALSE(std::getline(lines, line));
}

TEST_F(Logging, HidesRegisteredSecrets) {
    HideInMessages(" \"s3cret\"\n");
    HideInMessages("s3cret and more");
    HideInMessages("a\0b\xff"s);
    HideInMessages("1=|");
    HideInMessages("k\"eyed\"");
    HideInMessages("\"key");
    HideInMessages("  ");
    const std::pair<std::string, std::string> cases[] = {
        {"no such thing", "no such thing"}, {"s3cret", "***"},
        {"[s3crets3cret]", "[******]"},     {"s3cret and more", "***"},
        {"s3cret and mor", "*** and mor"},  {"S3CRET s3cre", "S3CRET s3cre"},
        {"x a\0b\xff"s, "x ***"},           {"1=| ", "1=| "},
        {"k\"eyed\" \"key\"", "*** ***\""},
    };
    for (const auto& [text, shown] : cases) {
        EXPECT_EQ(WithoutSecrets(text), shown);
        const CapturedStandardError captured;
        LogText(m_log, Level::LEVEL_WARN, text);
        EXPECT_EQ(captured.GetText(), "name: warning: " + shown + "\n");
    }
}

TEST_F(Logging, HidesTheValuesOfSettingsNamedLikePasswords) {
    const std::pair<std::string, std::string> cases[] = {
        {"[ldap:Password=p|uid=$u]: no", "[ldap:Password=***|uid=$u]: no"},
        {"[ldap:A=1| bindPASSWD = p q |uid=$u]: no", "[ldap:A=1| bindPASSWD =***|uid=$u]: no"},
        {"[x:Client-Secret=a|secret_2=b|Host=h|$s]",
         "[x:Client-Secret=***|secret_2=***|Host=h|$s]"},
        {"[x:Password=a\"b|c\"d|$s]: no", "[x:Password=***|$s]: no"},
        {"[x:\"Password=b|c\"|$s]: no", "[x:\"Password=***\"|$s]: no"},
        {"[x:Password=b\\|c\\\\|$s]: no", "[x:Password=***|$s]: no"},
        {"[x:Password=a]: b|$s]: x", "[x:Password=***|$s]: x"},
        {"[x:Password=a]: b]: no", "[x:Password=***]: no"},
        {"error: 'Password=p'", "error: 'Password=***'"},
        {"setting: 'Password=a|b]: c'", "setting: 'Password=***'"},
        {"setting: 'Password=p", "setting: 'Password=***"},
        {"[x:Password=p|$s]: wrong 'Password=p'", "[x:Password=***|$s]: wrong 'Password=***'"},
        {"Password=", "Password=***"},
        {"= == |Password", "= == |Password"},
        {"Passwor=d|Pass=word", "Passwor=d|Pass=word"},
        {"SetNewVal: variable =[Password] val=[a] val=[b]",
         "SetNewVal: variable =[Password] val=[***]"},
        {"SetNewVal: variable =[lookup_x/BindSecret] val=[a|b]",
         "SetNewVal: variable =[lookup_x/BindSecret] val=[***]"},
        {"SetNewVal: variable =[Port] val=[password]",
         "SetNewVal: variable =[Port] val=[password]"},
    };
    for (const auto& [text, shown] : cases) {
        EXPECT_EQ(WithoutSecrets(text), shown);
        EXPECT_EQ(WithoutSecrets(shown), shown) << "again";
    }
}

TEST_F(Logging, TheTargetCanBeChangedAtAnyTime) {
    const CapturedStandardError captured;
    SetLogging(LogTarget::File, Level::LEVEL_WARN, m_dir.Path("one"));
    m_log.forcedLog(Level::LEVEL_WARN, "in one");
    SetLogging(LogTarget::File, Level::LEVEL_WARN, m_dir.Path("two"));
    m_log.forcedLog(Level::LEVEL_WARN, "in two");
    SetLogging(LogTarget::StandardError, Level::LEVEL_WARN, "ignored");
    m_log.forcedLog(Level::LEVEL_WARN, "on standard error");

    EXPECT_THAT(ReadFile(m_dir.Path("one")), testing::EndsWith("name: warning: in one\n"));
    EXPECT_THAT(ReadFile(m_dir.Path("two")), testing::EndsWith("name: warning: in two\n"));
    EXPECT_EQ(captured.GetText(), "name: warning: on standard error\n");
}

TEST_F(Logging, AFileThatCannotBeOpenedKeepsTargetAndLevel) {
    const std::string old_file = m_dir.Path("old");
    SetLogging(LogTarget::File, Level::LEVEL_WARN, old_file);
    const std::string no_directory = m_dir.Write("file", "") + "/log";
    const std::string directory = m_dir.Path("");
    for (const std::string& name : {no_directory, directory, ""s}) {
        SCOPED_TRACE(name);
        try {
            SetLogging(LogTarget::File, Level::LEVEL_DEBUG, name);
            ADD_FAILURE() << "no exception";
        } catch (const std::runtime_error& error) {
            EXPECT_THAT(error.what(), testing::HasSubstr(name));
        }
        EXPECT_FALSE(m_log.isDebugEnabled());
        m_log.forcedLog(Level::LEVEL_WARN, ("after " + name).c_str());
        EXPECT_THAT(ReadFile(old_file), testing::EndsWith("name: warning: after " + name + "\n"));
    }
}

TEST_F(Logging, AFullDiskLosesOnlyTheLine) {
    SetLogging(LogTarget::File, Level::LEVEL_WARN, "/dev/full");
    const CapturedStandardError captured; // the logging library writes its errors there
    EXPECT_NO_THROW(m_log.forcedLog(Level::LEVEL_WARN, "lost"));
    SetLogging(LogTarget::File, Level::LEVEL_WARN, m_dir.Path("log"));
    m_log.forcedLog(Level::LEVEL_WARN, "kept");
    EXPECT_THAT(ReadFile(m_dir.Path("log")), testing::EndsWith("name: warning: kept\n"));
}

} // namespace
