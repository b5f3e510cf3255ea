// SPDX-License-Identifier: MIT
#include "kwhost/ConfFile.h"

#include "support/TempDir.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ctime>
#include <stdexcept>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using namespace kwlookup;

/// Returns each setting of a section as "LINE KEY=VALUE", with a '!' if it is secret.
std::vector<std::string> Shown(const ConfFile& file, const std::string& section) {
    std::vector<std::string> shown;
    const auto found = file.GetSections().find(section);
    if (found == file.GetSections().end())
        return {"no such section"};
    for (const ConfFile::Setting& setting : found->second.settings)
        shown.push_back((setting.secret ? "!" : "") + std::to_string(setting.line) + " " +
                        setting.key + "=" + setting.value);
    return shown;
}

class ConfFileTest : public testing::Test {
protected:
    ConfFile Read(const std::string& text) { return ConfFile(Write("kw.conf", text)); }

    std::string Write(const std::string& name, const std::string& text) {
        const std::string path = m_dir.Write(name, text);
        ::chmod(path.c_str(), 0644);
        return path;
    }

    /// Returns the message of the exception that reading `path` throws.
    static std::string WhyNot(const std::string& path) {
        try {
            ConfFile file(path);
            return "nothing";
        } catch (const std::runtime_error& error) {
            return error.what();
        }
    }

    TempDir m_dir;
    const std::string m_name = m_dir.Path("kw.conf");
};

} // namespace

TEST_F(ConfFileTest, ReadsSectionsSettingsAndComments) {
    const ConfFile file = Read("# a comment\n"
                               "[lookup_regex]\n"
                               "OnError = exception\n"
                               "  ; an indented comment\n"
                               "\n"
                               "Result=a = b\n"
                               "[lookup_ldap]\r\n"
                               "Host=ldap.corp.lan\r\n"
                               "[empty]\n"
                               "[lookup_regex]\n"
                               "MaxLength = 1k");
    EXPECT_THAT(file.GetErrors(), IsEmpty());
    EXPECT_THAT(Shown(file, "lookup_regex"),
                ElementsAre("3 OnError=exception", "6 Result=a = b", "11 MaxLength=1k"));
    EXPECT_THAT(Shown(file, "lookup_ldap"), ElementsAre("8 Host=ldap.corp.lan"));
    EXPECT_THAT(Shown(file, "empty"), IsEmpty());
    EXPECT_EQ(file.GetSections().at("lookup_regex").line, 2u);
    EXPECT_EQ(file.GetSections().at("empty").line, 9u);
    EXPECT_EQ(file.Place(6), m_name + ":6: ");
}

TEST_F(ConfFileTest, KeepsAllCharactersOfAValue) {
    const ConfFile file = Read("[s]\n"
                               "A = \"quoted\" # and ; more\n"
                               "B = a#b;c\n"
                               "C = one,\n"
                               "    two ; three\n"
                               "\tfour\n"
                               "D =\n"
                               "E = \xe9\xff\\n\n");
    EXPECT_THAT(file.GetErrors(), IsEmpty());
    EXPECT_THAT(Shown(file, "s"),
                ElementsAre("2 A=\"quoted\" # and ; more", "3 B=a#b;c", "4 C=one, two ; three four",
                            "7 D=", "8 E=\xe9\xff\\n"));
}

TEST_F(ConfFileTest, ReportsEveryMalformedLine) {
    const ConfFile file = Read("Lost = 1\n"
                               "[s]\n"
                               "no equals sign\n"
                               "[open\n"
                               "A = 1\n"
                               "more nonsense\n" +
                               std::string("N = a\0b\n", 8) + "[" + std::string(60, 'x') +
                               "]\n[t] B = 1\n[u] # no\n");
    EXPECT_THAT(file.GetErrors(),
                ElementsAre(m_name + ":1: the setting is not in a section",
                            m_name + ":3: neither a section, nor a setting, nor a comment",
                            m_name + ":4: neither a section, nor a setting, nor a comment",
                            m_name + ":6: neither a section, nor a setting, nor a comment",
                            m_name + ":7: the line holds a NUL byte",
                            m_name + ":8: the name of the section is too long",
                            m_name + ":9: something follows the name of the section",
                            m_name + ":10: something follows the name of the section"));
    EXPECT_THAT(Shown(file, "s"), ElementsAre("5 A=1"));
}

TEST_F(ConfFileTest, RefusesAColonAfterTheKey) {
    const ConfFile file = Read("[s]\nA : 1\nB:2\n  : more of B\nC = a:b\nD:e = f\n");
    const std::string reason = "'=' must follow the key, not ':'";
    EXPECT_THAT(file.GetErrors(), ElementsAre(m_name + ":2: " + reason, m_name + ":3: " + reason,
                                              m_name + ":6: " + reason));
}

TEST_F(ConfFileTest, RefusesALongSection) {
    const auto read = [&](int keys) {
        std::string text = "[other]\nA = 1\n[s]\n";
        for (int i = 0; i < keys; ++i)
            text += "Key" + std::to_string(i) + " = 1\n  more\n";
        return Read(text + "[t]\nA = 1\n");
    };
    EXPECT_THAT(read(10000).GetErrors(), IsEmpty());
    for (const int keys : {10001, 10002, 20000}) {
        const ConfFile file = read(keys);
        EXPECT_THAT(file.GetErrors(),
                    ElementsAre(m_name + ":20004: the section has more than 10000 keys"));
        EXPECT_EQ(file.GetSections().at("s").settings.size(), 10001u);
        EXPECT_THAT(Shown(file, "t"), ElementsAre(testing::HasSubstr("A=1")));
    }
}

// If each key were compared with each other key, it would take more than twice as long.
TEST_F(ConfFileTest, ReadsManyKeysInLinearTime) {
    std::string text = "[s]\n";
    for (int i = 0; i < 100000; ++i)
        text += "Key" + std::to_string(i) + " = 1\n";
    const std::clock_t begin = std::clock();
    EXPECT_EQ(Read(text).GetErrors().size(), 1u);
    EXPECT_LT(std::clock() - begin, 5 * CLOCKS_PER_SEC / 2);
}

TEST_F(ConfFileTest, WarnsOfValueFilesThatOthersMayRead) {
    const std::string file = Write("value", "v\n");
    const std::string text = "[s]\nA.file = " + file + "\n";
    const auto warning = m_name + ":2: 'A': " + file + ": others may read it (chmod go-r)";
    for (const mode_t mode : {0644, 0640, 0604}) {
        ::chmod(file.c_str(), mode);
        EXPECT_THAT(Read(text).GetWarnings(), ElementsAre(warning)) << mode;
        EXPECT_THAT(Read(text).GetErrors(), IsEmpty());
    }
    for (const mode_t mode : {0600, 0400, 0711}) {
        ::chmod(file.c_str(), mode);
        EXPECT_THAT(Read(text).GetWarnings(), IsEmpty()) << mode;
    }
}

TEST_F(ConfFileTest, AKeySetTwiceIsAnErrorInAnyLetterCase) {
    const ConfFile file = Read("[s]\nPort = 1\n[t]\nPort = 2\n[s]\nPORT = 3\nport.file = /none\n");
    EXPECT_THAT(file.GetErrors(),
                ElementsAre(m_name + ":6: 'PORT' is set a second time, after line 2",
                            m_name + ":7: 'port': /none: No such file or directory",
                            m_name + ":7: 'port' is set a second time, after line 2"));
}

TEST_F(ConfFileTest, ReadsAValueFromAFileOfItsOwn) {
    const std::string secret = Write("secret", "pass=word #1 \n");
    const std::string two_lines = Write("two", "a\nb\n\n");
    const ConfFile file = Read("[s]\nPassword.file = " + secret + "\nText.FILE = " + two_lines +
                               "\nBindPassword = x\nClientSecret = y\nPlain = z\n");
    EXPECT_THAT(file.GetErrors(), IsEmpty());
    EXPECT_THAT(Shown(file, "s"),
                ElementsAre("!2 Password=pass=word #1 ", "!3 Text=a\nb\n", "!4 BindPassword=x",
                            "!5 ClientSecret=y", "6 Plain=z"));
}

TEST_F(ConfFileTest, RefusesFilesThatCannotBeTrustedOrRead) {
    const std::string good = Write("good", "[s]\n");
    EXPECT_EQ(WhyNot(good), "nothing");
    for (const mode_t mode : {0664, 0646, 0666}) {
        ::chmod(good.c_str(), mode);
        EXPECT_EQ(WhyNot(good), good + ": refused, others may write it (chmod go-w)") << mode;
    }
    EXPECT_EQ(WhyNot(m_dir.Path("")), m_dir.Path("") + ": Is a directory");
    EXPECT_EQ(WhyNot(m_dir.Path("none")), m_dir.Path("none") + ": No such file or directory");
    EXPECT_EQ(WhyNot(good + std::string("\0x", 2)), "the file name holds a NUL byte");
    EXPECT_EQ(WhyNot("/proc/self/mem"), "/proc/self/mem: Input/output error");

    const std::string writable = Write("writable", "v");
    ::chmod(writable.c_str(), 0666);
    EXPECT_THAT(Read("[s]\nA.file = " + writable + "\n").GetErrors(),
                ElementsAre(m_name + ":2: 'A': " + writable +
                            ": refused, others may write it (chmod go-w)"));
}

TEST_F(ConfFileTest, RefusesAFileOfAnotherUser) {
    const std::string file = Write("theirs", "[s]\n");
    if (::geteuid() != 0 || ::chown(file.c_str(), 65534, 65534) != 0)
        GTEST_SKIP() << "only root can give a file away";
    EXPECT_EQ(WhyNot(file), file + ": refused, it belongs to another user");
}

TEST_F(ConfFileTest, BoundsLinesAndValueFiles) {
    const ConfFile long_value = Read("[s]\nA = " + std::string(1000000, 'a') + "\nB = b\n");
    EXPECT_THAT(long_value.GetErrors(), IsEmpty());
    EXPECT_EQ(long_value.GetSections().at("s").settings.front().value.size(), 1000000u);

    const ConfFile too_long = Read("[s]\nA = " + std::string(1100000, 'a') + "\nB = b\n");
    EXPECT_THAT(too_long.GetErrors(), ElementsAre(m_name + ":2: the line is too long"));
    EXPECT_THAT(Shown(too_long, "s"), ElementsAre("3 B=b"));

    const std::string largest = Write("largest", std::string(65536, 'v'));
    const std::string larger = Write("larger", std::string(65537, 'v'));
    const ConfFile files = Read("[s]\nA.file = " + largest + "\nB.file = " + larger + "\n");
    EXPECT_THAT(files.GetErrors(),
                ElementsAre(m_name + ":3: 'B': " + larger + ": the value is too long"));
    EXPECT_EQ(files.GetSections().at("s").settings.front().value.size(), 65536u);
}

TEST_F(ConfFileTest, IgnoresByteOrderMarksAndCarriageReturns) {
    const std::string value = Write("value", "secret\r\n");
    const ConfFile file = Read("\xef\xbb\xbf[s]\r\nA = a\r\nB.file = " + value + "\r\n");
    EXPECT_THAT(file.GetErrors(), IsEmpty());
    EXPECT_THAT(Shown(file, "s"), ElementsAre("2 A=a", "!3 B=secret"));
}

TEST_F(ConfFileTest, AnEmptyFileHasNoSections) {
    EXPECT_THAT(Read("").GetSections(), IsEmpty());
    EXPECT_THAT(ConfFile().GetSections(), IsEmpty());
}
