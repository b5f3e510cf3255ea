// SPDX-License-Identifier: MIT
#include "kwhost/ConfFileLoader.h"

#include "conf/IfConfParser.h"
#include "host/InterfaceConfHolder.h"
#include "lookup/builtin/KwDomainsLookup.h"
#include "support/RecordingLog.h"
#include "support/TempDir.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <sys/stat.h>
#include <tuple>
#include <vector>

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace {

using namespace kwlookup;

/// A configured object with a parameter of each common type.
class Holder : public InterfaceConfHolder {
public:
    bool MakePreInit(boost::shared_ptr<IfConfParser> parser) override {
        static const int default_port = 389;
        static const std::string default_base = "dc=lan";
        parser->Add("lookup_ldap/Port", &port, IfConfParser::VT_INT, &default_port);
        parser->Add("lookup_ldap/Base", &base, IfConfParser::VT_STRING, &default_base);
        parser->Add("lookup_ldap/Password", &password, IfConfParser::VT_RAW_STRING, nullptr);
        parser->Add("lookup_ldap/Retries", &retries, IfConfParser::VT_INT, nullptr);
        return registers;
    }
    void PostInit() override {
        ++post_inits;
        if (port == 13)
            throw std::invalid_argument("port 13 is not lucky");
        if (base == "bad" || base == " bad ")
            throw std::invalid_argument("Base is [" + base + "]");
        if (base == password)
            throw std::invalid_argument("Base [" + base + "] is " + password);
    }

    int port = -1;
    int retries = 3;
    std::string base = "old";
    std::string password = "old";
    bool registers = true;
    int post_inits = 0;
};

class ConfFileLoaderTest : public testing::Test {
protected:
    void SetUp() override { RecordingLog::Reset(); }

    bool Load(const std::string& text, const std::string& section = "lookup_ldap") {
        const std::string name = m_dir.Write("kw.conf", text);
        ::chmod(name.c_str(), 0644);
        m_loader.SetFile(ConfFile(name));
        return m_loader.LoadSection(0, section, 0, "", 0, &m_holder, m_log);
    }

    TempDir m_dir;
    const std::string m_name = m_dir.Path("kw.conf");
    ConfFileLoader m_loader;
    Holder m_holder;
    const LogClass m_log{"test"};
};

} // namespace

TEST_F(ConfFileLoaderTest, SetsTheValuesOfTheSection) {
    ASSERT_TRUE(Load("[lookup_ldap]\nPORT = 0x10\nbase = \" dc=corp \"\n[lookup_sql]\nX = 1\n"));
    EXPECT_EQ(m_holder.port, 16);
    EXPECT_EQ(m_holder.base, " dc=corp ");
    EXPECT_EQ(m_holder.post_inits, 1);
    EXPECT_THAT(RecordingLog::Texts(2), IsEmpty());
    EXPECT_EQ(m_loader.GetDescription(), m_name);
    EXPECT_FALSE(m_loader.AcquireLoader());
}

TEST_F(ConfFileLoaderTest, OtherParametersGetTheirDefaults) {
    ASSERT_TRUE(Load("[lookup_ldap]\nPort = 1\nBase = dc=x\nPassword = p\nRetries = 9\n"));
    ASSERT_TRUE(Load("", "lookup_ldap"));
    EXPECT_EQ(m_holder.port, 389);
    EXPECT_EQ(m_holder.base, "dc=lan");
    EXPECT_EQ(m_holder.password, "");
    EXPECT_EQ(m_holder.retries, 9) << "a number without a default keeps its value";
    EXPECT_EQ(m_holder.post_inits, 2);
}

TEST_F(ConfFileLoaderTest, ReportsEachInvalidKeyWithItsPlace) {
    EXPECT_FALSE(Load("[lookup_ldap]\nPort = many\nHots = a\nBase = b\n"));
    EXPECT_THAT(RecordingLog::Texts(2),
                ElementsAre(m_name + ":2: bad value for 'Port' in [lookup_ldap]",
                            m_name + ":3: unknown key 'Hots' in [lookup_ldap]"));
    EXPECT_THAT(RecordingLog::Texts(3),
                ElementsAre("Wrong value [many] in integer variable lookup_ldap/Port"));
    EXPECT_EQ(m_holder.base, "old") << "nothing stays of a section with errors";
    EXPECT_EQ(m_holder.post_inits, 0);
}

TEST_F(ConfFileLoaderTest, ReportsExceptionsOfPostInit) {
    EXPECT_FALSE(Load("[lookup_ldap]\nPort = 13\n"));
    EXPECT_THAT(RecordingLog::Texts(2),
                ElementsAre(m_name + ":2: [lookup_ldap]: port 13 is not lucky"));
    RecordingLog::Reset();
    EXPECT_FALSE(Load("[lookup_ldap]\nPort = 1\nBase = port\nPassword = port\n"));
    EXPECT_THAT(RecordingLog::Texts(2),
                ElementsAre(m_name + ":3: [lookup_ldap]: Base [***] is ***"))
        << "the setting that is named first, whatever its value says";
}

/// A configured object with a parameter of every type.
class Everything : public InterfaceConfHolder {
public:
    explicit Everything(const LogClass& log) : object(log) {}

    bool MakePreInit(boost::shared_ptr<IfConfParser> parser) override {
        const auto add = [&](const char* name, void* var, IfConfParser::VarType type) {
            parser->Add(std::string("all/") + name, var, type, nullptr);
        };
        add("Int", &number, IfConfParser::VT_INT);
        add("Bool", &flag, IfConfParser::VT_BOOL);
        add("Time", &time, IfConfParser::VT_TIME);
        add("Size", &size, IfConfParser::VT_SIZE);
        add("String", &text, IfConfParser::VT_STRING);
        add("Raw", &raw, IfConfParser::VT_RAW_STRING);
        add("Strings", &texts, IfConfParser::VT_STRING_LIST);
        add("Ints", &numbers, IfConfParser::VT_INT_LIST);
        add("Times", &times, IfConfParser::VT_TIME_LIST);
        add("Sizes", &sizes, IfConfParser::VT_SIZE_LIST);
        add("Object", &object, IfConfParser::VT_OBJECT);
        return true;
    }
    void PostInit() override {
        if (number == 13)
            throw std::invalid_argument("13 is not lucky");
    }

    auto Values() const {
        return std::make_tuple(number, flag, time, size, text, raw, texts, numbers, times, sizes,
                               object.GetDescription(), object.GetObjects().size());
    }

    int number = 0;
    bool flag = false;
    int time = 0;
    long long size = 0;
    std::string text, raw;
    std::vector<std::string> texts;
    std::vector<int> numbers, times;
    std::vector<long long> sizes;
    KwDomainsLookup object;
};

TEST_F(ConfFileLoaderTest, AFailedLoadChangesNoVariable) {
    const auto load = [&](Everything& holder, const std::string& settings) {
        const std::string name = m_dir.Write("kw.conf", "[all]\n" + settings);
        ::chmod(name.c_str(), 0644);
        m_loader.SetFile(ConfFile(name));
        return m_loader.LoadSection(0, "all", 0, "", 0, &holder, m_log);
    };
    Everything holder(m_log);
    ASSERT_TRUE(load(holder, "Int = 1\nBool = yes\nTime = 2m\nSize = 3k\nString = s\nRaw = \"r\"\n"
                             "Strings = a, b\nInts = 1, 2\nTimes = 1h\nSizes = 1g\n"
                             "Object = corp.lan, home.lan\n"));
    const auto before = holder.Values();
    const std::string changes = "Int = 2\nBool = no\nTime = 3m\nSize = 4k\nString = t\nRaw = q\n"
                                "Strings = c\nInts = 3\nTimes = 2h\nSizes = 2g\nObject = x.lan\n";
    Everything changed(m_log);
    ASSERT_TRUE(load(changed, changes));
    EXPECT_NE(changed.Values(), before);
    for (const std::string bad :
         {"NoSuch = 1\n", "Ints = 1, x\n", "Object = \"a\n", "Int = 13\n"}) {
        SCOPED_TRACE(bad);
        const std::string key = bad.substr(0, bad.find(' ') + 1);
        std::string settings = changes;
        const std::size_t same = ("\n" + settings).find("\n" + key);
        if (same != std::string::npos)
            settings.erase(same, settings.find('\n', same) + 1 - same);
        EXPECT_FALSE(load(holder, settings + bad));
        EXPECT_EQ(holder.Values(), before);
    }
}

TEST_F(ConfFileLoaderTest, RefusesNumbersThatDoNotFit) {
    const auto load = [&](const std::string& setting) {
        const std::string name = m_dir.Write("kw.conf", "[all]\n" + setting + "\n");
        ::chmod(name.c_str(), 0644);
        m_loader.SetFile(ConfFile(name));
        Everything holder(m_log);
        RecordingLog::Reset();
        const bool good = m_loader.LoadSection(0, "all", 0, "", 0, &holder, m_log);
        const auto errors = RecordingLog::Texts(2);
        return good ? "good" : errors.size() == 1 ? errors[0] : "no error";
    };
    for (const char* setting : {"Int = 2147483647",
                                "Int = -2147483648",
                                "Int = +0",
                                "Int = 0x7fffffff",
                                "Int = 0",
                                "Int = 017777777777",
                                "Int = 0x1fzz99999999999",
                                "Time = 24855d",
                                "Time = 596523h",
                                "Time = 35791394m",
                                "Time = 2147483647",
                                "Time = 2147483647s",
                                "Time = +1d",
                                "Size = 9223372036854775807",
                                "Size = 9223372036854775807b",
                                "Size = 8589934591g",
                                "Size = 9007199254740991k",
                                "Size = 8796093022207M",
                                "Ints = 1, 0x7fffffff",
                                "Times = 24855d, 1",
                                "Sizes = 8589934591g",
                                "Int =",
                                "Time = ",
                                "String = 9999999999999"})
        EXPECT_EQ(load(setting), "good") << setting;
    const std::string int_range = " must be from -2147483648 to 2147483647";
    const std::string time_range = " must be at most 2147483647 seconds";
    const std::string size_range = " must be at most 9223372036854775807 bytes";
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"Int = 2147483648", "'Int'" + int_range},
        {"Int = -2147483649", "'Int'" + int_range},
        {"Int = 0x80000000", "'Int'" + int_range},
        {"Int = 0xffffffff", "'Int'" + int_range},
        {"Int = 0X100000000", "'Int'" + int_range},
        {"Int = 020000000000", "'Int'" + int_range},
        {"Int = 99999999999999999999999", "'Int'" + int_range},
        {"Time = 24856d", "'Time'" + time_range},
        {"Time = 49711D", "'Time'" + time_range},
        {"time = 596524h", "'time'" + time_range},
        {"Time = 35791395m", "'Time'" + time_range},
        {"Time = 2147483648s", "'Time'" + time_range},
        {"Time = 99999999999999999999999", "'Time'" + time_range},
        {"Size = 8589934592g", "'Size'" + size_range},
        {"Size = 18014398509481989k", "'Size'" + size_range},
        {"Size = +9223372036854775808", "'Size'" + size_range},
        {"Ints = 1, 2147483648", "'Ints'" + int_range},
        {"Times = 1h, 30000d, 1h", "'Times'" + time_range},
        {"Sizes = 1, 9223372036854775808b", "'Sizes'" + size_range},
        {"Int = 1x99999999999", "bad value for 'Int'"},
        {"Int = +-99999999999", "bad value for 'Int'"},
        {"Time = d", "bad value for 'Time'"},
        {"Time = -99999d", "bad value for 'Time'"},
        {"Time = 99999999999w", "bad value for 'Time'"},
        {"Size = 1.5g", "bad value for 'Size'"},
        {"Ints = 1, , 2", "bad value for 'Ints'"},
        {"Sizes = \"99999999999g", "bad value for 'Sizes'"}};
    for (const auto& [setting, reason] : cases)
        EXPECT_EQ(load(setting), m_name + ":2: " + reason + " in [all]") << setting;
}

// Messages show the items of lists, so lists cannot be secret.
TEST_F(ConfFileLoaderTest, AListCannotComeFromAFileOfItsOwn) {
    const std::string secret = m_dir.Write("secret", "file:/hunter2\n");
    ::chmod(secret.c_str(), 0600);
    const std::string name = m_dir.Write("kw.conf", "[all]\nObject.file = " + secret + "\n");
    ::chmod(name.c_str(), 0644);
    m_loader.SetFile(ConfFile(name));
    Everything holder(m_log);
    EXPECT_FALSE(m_loader.LoadSection(0, "all", 0, "", 0, &holder, m_log));
    EXPECT_THAT(RecordingLog::Texts(2),
                ElementsAre(m_name +
                            ":2: 'Object.file' cannot set a list, as messages show its items "
                            "(write 'Object = file:NAME') in [all]"));
    for (const auto& line : RecordingLog::GetLines())
        EXPECT_THAT(line.text, Not(HasSubstr("hunter2")));
}

TEST_F(ConfFileLoaderTest, AHolderWithoutParametersIsNotLoaded) {
    m_holder.registers = false;
    EXPECT_FALSE(Load("[lookup_ldap]\n"));
    EXPECT_EQ(m_holder.post_inits, 0);
}

TEST_F(ConfFileLoaderTest, NoMessageShowsASecret) {
    const std::string secret = m_dir.Write("secret", "hunter2\n");
    ::chmod(secret.c_str(), 0600);
    ASSERT_TRUE(Load("[lookup_ldap]\nPassword.file = " + secret + "\nPort = 1\n"));
    EXPECT_EQ(m_holder.password, "hunter2");
    ASSERT_TRUE(Load("[lookup_ldap]\nPassword = hunter2\n"));
    EXPECT_EQ(m_holder.password, "hunter2");
    EXPECT_FALSE(Load("[lookup_ldap]\nPort.file = " + secret + "\n"));
    EXPECT_THAT(RecordingLog::Texts(2),
                ElementsAre(m_name + ":2: bad value for 'Port' in [lookup_ldap]"));
    EXPECT_FALSE(Load("[lookup_ldap]\nPassword.file = " + secret + "\nBase.file = " + secret));
    EXPECT_EQ(RecordingLog::Texts(2).back(), m_name + ":3: [lookup_ldap]: Base [***] is ***");
    m_dir.Write("secret", "\"hunter2\"\n");
    EXPECT_FALSE(Load("[lookup_ldap]\nPassword = hunter2\nBase.file = " + secret));
    // The variable has it without its quotes. It is too short for HideInMessages().
    for (const std::string quoted : {"bad", "\"bad\"", "\" bad \"\n"}) {
        m_dir.Write("secret", quoted);
        EXPECT_FALSE(Load("[lookup_ldap]\nBase.file = " + secret));
        EXPECT_EQ(RecordingLog::Texts(2).back(), m_name + ":2: [lookup_ldap]: Base is [***]");
    }
    const auto lines = RecordingLog::GetLines();
    EXPECT_FALSE(lines.empty());
    for (const auto& line : lines)
        EXPECT_THAT(line.text, Not(HasSubstr("hunter2")));
}
