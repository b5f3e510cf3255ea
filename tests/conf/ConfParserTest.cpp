// SPDX-License-Identifier: MIT
#include "conf/ConfParser.h"

#include "support/RecordingLog.h"
#include "support/TestLocale.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

using namespace std::string_literals;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using Lines = std::vector<RecordingLog::Line>;
using Texts = std::vector<std::string>;

constexpr std::size_t MIB = 1024 * 1024;

Texts Split(const std::string& value, char separator = ',') {
    Texts out{"left over"};
    ConfParser::SplitVector(value, out, separator);
    return out;
}

/// Runs one of the three converters, and checks what it stores and logs.
template <typename Integer>
struct Converter {
    bool (*convert)(const std::string&, const std::string&, Integer*, const LogClass&);

    void Gives(const std::string& value, Integer expected) const {
        SCOPED_TRACE("[" + value.substr(0, 40) + "]");
        RecordingLog::Reset();
        Integer out = 77;
        EXPECT_TRUE(convert("Name", value, &out, LogClass("conf")));
        EXPECT_EQ(out, expected);
        EXPECT_THAT(RecordingLog::GetLines(), IsEmpty());
    }

    void Fails(const std::string& value, const std::string& message,
               const std::string& name = "Name") const {
        SCOPED_TRACE("[" + value.substr(0, 40) + "]");
        RecordingLog::Reset();
        Integer out = 77;
        EXPECT_FALSE(convert(name, value, &out, LogClass("conf")));
        EXPECT_EQ(out, 77);
        const Lines expected =
            message.empty() ? Lines() : Lines{{log4cxx::Level::LEVEL_WARN, "conf", message}};
        EXPECT_TRUE(RecordingLog::GetLines() == expected)
            << testing::PrintToString(RecordingLog::Texts(3)) << " instead of " << message;

        RecordingLog::Reset(log4cxx::Level::LEVEL_ERROR);
        EXPECT_FALSE(convert(name, value, &out, LogClass("conf")));
        EXPECT_THAT(RecordingLog::GetLines(), IsEmpty()) << "written though the level is off";
        RecordingLog::Reset();
    }
};

const Converter<int> INT{ConfParser::IntParse};
const Converter<int> TIME{ConfParser::ConvertTimeValToSeconds};
const Converter<long long> SIZE{ConfParser::ConvertSizeValToBytes};

TEST(TrimString, TakesOnePairOfEnclosingQuotes) {
    const struct {
        std::string text, expected;
    } cases[] = {
        {"", ""},
        {"a", "a"},
        {"\"abc\"", "abc"},
        {"\"\"", ""},
        {"\"", "\""},
        {"\"abc", "\"abc"},
        {"abc\"", "abc\""},
        {" \"a\" ", " \"a\" "},
        {"\"\"a\"\"", "\"a\""},
        {"\"\"\"", "\""},
        {"\"\"\"\"", "\"\""},
        {"\" a \"", " a "},
        {"'a'", "'a'"},
        {"\"\0\xff\""s, "\0\xff"s},
        {"a\"b", "a\"b"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE("[" + c.text + "]");
        std::string text = c.text;
        ConfParser::TrimString(text);
        EXPECT_EQ(text, c.expected);
    }
    std::string large = '"' + std::string(MIB, '"') + '"';
    ConfParser::TrimString(large);
    EXPECT_EQ(large, std::string(MIB, '"'));
}

TEST(FixDir, EndsTheNameInOneSlash) {
    const struct {
        std::string dir, expected;
    } cases[] = {
        {"", "/"},    {"/", "/"},    {"/tmp", "/tmp/"}, {"/tmp/", "/tmp/"},
        {"//", "//"}, {"a ", "a /"}, {"/\0"s, "/\0/"s}, {"\xff", "\xff/"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE("[" + c.dir + "]");
        std::string dir = c.dir;
        EXPECT_TRUE(ConfParser::FixDir(dir));
        EXPECT_EQ(dir, c.expected);
    }
}

TEST(SplitVector, Splits) {
    const struct {
        std::string value;
        Texts expected;
        char separator = ',';
    } cases[] = {
        {"", {}},
        {"a", {"a"}},
        {"a,b", {"a", "b"}},
        {" a , b ", {"a", "b"}},
        {" \t\r\n\v\fa b\t\r\n\v\f,c", {"a b", "c"}},
        // An empty last field is dropped, a last field of blanks is kept.
        {"a,", {"a"}},
        {"a, ", {"a", ""}},
        {",", {""}},
        {",,", {"", ""}},
        {" ", {""}},
        {" ,", {""}},
        {"a,,b", {"a", "", "b"}},
        {",a", {"", "a"}},
        // Quotes protect separators and blanks. One pair around the item is removed.
        {"\"a,b\",c", {"a,b", "c"}},
        {"\" a \"", {" a "}},
        {" \" a \" ", {" a "}},
        {"\"\"", {""}},
        {"\"\",", {""}},
        {"a\",\"b", {"a\",\"b"}},
        {"\"a\"b", {"\"a\"b"}},
        {"\"a\"\"b\"", {"a\"\"b"}},
        {"\"\"\"\"", {"\"\""}},
        {"\"a\" , \"b\"", {"a", "b"}},
        // A backslash protects the separator, a backslash and a quote. Elsewhere it stays.
        {"a\\,b", {"a,b"}},
        {"a\\\\b", {"a\\b"}},
        {"a\\b", {"a\\b"}},
        {"\\a\\b\\c,d", {"\\a\\b\\c", "d"}},
        {"a\\\\,b", {"a\\", "b"}},
        {"a\\\\\\,b", {"a\\,b"}},
        {"\\\"a", {"\"a"}},
        {"\\\"a\\\"", {"a"}}, // the enclosing pair is removed after the escapes
        {"\"a\\\"b\"", {"a\"b"}},
        {"\"a\\\\\"", {"a\\"}},
        {"\"a\\,b\"", {"a,b"}},
        {"\\ a", {"\\ a"}},
        {"a\\ ", {"a\\"}},
        {"a\\ ,b", {"a\\", "b"}},
        {"\\,", {","}},
        {"\\\\", {"\\"}},
        {"\\|", {"\\|"}},
        {"a\\|b|c", {"a|b", "c"}, '|'},
        {"a\\,b|c", {"a\\,b", "c"}, '|'},
        {"a,b|c", {"a,b", "c"}, '|'},
        // As separators, the backslash and the quote keep their other meaning.
        {"a b  c", {"a", "b", "", "c"}, ' '},
        {"a\\\\b", {"a\\b"}, '\\'},
        {"a\"b\"c", {"a\"b\"c"}, '"'},
        {"a\0b"s, {"a", "b"}, '\0'},
        {"a\xa7\x62\xa7", {"a", "b"}, '\xa7'},
        // Only the locale's white space is trimmed; all other bytes stay.
        {"\0,\0a\0"s, {"\0"s, "\0a\0"s}},
        {"\xa0\xe9\xa0,\xff\xfe", {"\xa0\xe9\xa0", "\xff\xfe"}},
        {"\\\xff,\\\0"s, {"\\\xff", "\\\0"s}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE("[" + c.value + "] at " + c.separator);
        EXPECT_EQ(Split(c.value, c.separator), c.expected);
    }
}

TEST(SplitVector, UnclosedTextsAreErrorsAndKeepTheItemsBefore) {
    const std::string quote = "can't find final '\"' symbol";
    const std::string escape = "can't find sybol after '\\'";
    const struct {
        std::string value, message;
        Texts left;
    } cases[] = {
        {"\"a", quote, {}},
        {"\"", quote, {}},
        {"a\\", escape, {}},
        {"\\", escape, {}},
        {"\"a\\", quote, {}}, // the error of the quote takes precedence
        {"\"a\\\"", quote, {}},
        {"a\\\\\\", escape, {}},
        {"a,b,\"c", quote, {"a", "b"}},
        {"a,b,c\\", escape, {"a", "b"}},
        {"a,\\", escape, {"a"}},
        {"\"a\",\"", quote, {"a"}},
        {"a,\"b,c", quote, {"a"}},
        {"\"a\"\"", quote, {}},
        {"\\\\,x\\\"\"", quote, {"\\"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE("[" + c.value + "]");
        Texts out{"left over"};
        try {
            ConfParser::SplitVector(c.value, out, ',');
            ADD_FAILURE() << "no exception, but " << testing::PrintToString(out);
        } catch (const std::invalid_argument& error) {
            EXPECT_EQ(error.what(), c.message);
        }
        EXPECT_EQ(out, c.left);
    }
}

TEST(SplitVector, TrimsTheWhiteSpaceOfTheGlobalLocale) {
    EXPECT_THAT(Split("\xa0\x61\xa0"), ElementsAre("\xa0\x61\xa0"));
    {
        TestBytes bytes = TestBytes::Latin1();
        bytes.space['_'] = true;
        bytes.space['\t'] = false;
        const GlobalLocale global(bytes.GetLocale());
        EXPECT_THAT(Split("\xa0\x61_,_\"_b\"\xa0,\tc_"), ElementsAre("a", "_b", "\tc"));
    }
    EXPECT_THAT(Split("_a_"), ElementsAre("_a_"));
}

TEST(SplitVector, TakesLargeTexts) {
    EXPECT_THAT(Split(std::string(MIB, 'a')), ElementsAre(std::string(MIB, 'a')));
    EXPECT_EQ(Split(std::string(MIB, ',')), Texts(MIB, ""));
    EXPECT_THAT(Split(std::string(MIB, '\\')), ElementsAre(std::string(MIB / 2, '\\')));
    EXPECT_THAT(Split(std::string(MIB, '"')), ElementsAre(std::string(MIB - 2, '"')));
    EXPECT_THAT(Split(std::string(MIB, ' ')), ElementsAre(""));
    EXPECT_THROW(Split(std::string(MIB + 1, '"')), std::invalid_argument);
    EXPECT_THROW(Split(std::string(MIB + 1, '\\')), std::invalid_argument);

    std::string list;
    Texts expected;
    for (int i = 0; i < 100000; ++i) {
        const std::string number = std::to_string(i);
        list += "\" a\\\"," + number + "\" , b\\," + number + "\\x,";
        expected.push_back(" a\"," + number);
        expected.push_back("b," + number + "\\x");
    }
    EXPECT_EQ(Split(list), expected);
}

TEST(Booleans, AreThreeWordsEach) {
    const struct {
        std::string value;
        bool is_true, is_false;
    } cases[] = {
        {"yes", true, false},       {"Yes", true, false},
        {"ON", true, false},        {"true", true, false},
        {"tRuE", true, false},      {"no", false, true},
        {"NO", false, true},        {"off", false, true},
        {"false", false, true},     {"fAlSe", false, true},
        {"", false, false},         {" yes", false, false},
        {"yes ", false, false},     {"y", false, false},
        {"n", false, false},        {"1", false, false},
        {"0", false, false},        {"yess", false, false},
        {"o", false, false},        {"yes\0"s, false, false},
        {"no\0"s, false, false},    {"\"yes\"", false, false},
        {"fals\xe9", false, false}, {std::string(MIB, 'y'), false, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE("[" + c.value.substr(0, 40) + "]");
        EXPECT_EQ(ConfParser::IsTrue(c.value), c.is_true);
        EXPECT_EQ(ConfParser::IsFalse(c.value), c.is_false);
    }
}

TEST(Booleans, FoldLettersByTheGlobalLocale) {
    EXPECT_FALSE(ConfParser::IsTrue("\xffs"));
    TestBytes bytes;
    bytes.upper[0xff] = 'Y';
    bytes.upper['F'] = 'G'; // "off" still equals "off", because both are folded
    bytes.upper['g'] = 'F';
    const GlobalLocale global(bytes.GetLocale());
    EXPECT_TRUE(ConfParser::IsTrue("\xff\x65s"));
    EXPECT_FALSE(ConfParser::IsFalse("OFF"));
    EXPECT_TRUE(ConfParser::IsFalse("ogf"));
    EXPECT_TRUE(ConfParser::IsFalse("off"));
}

TEST(IntParse, ReadsDecimals) {
    INT.Gives("10", 10);
    INT.Gives("-10", -10);
    INT.Gives("+7", 7);
    INT.Gives("-5", -5);
    INT.Gives("-0", 0);
    INT.Gives("+010", 10); // octal numbers begin with 0
    INT.Gives("-010", -10);
    INT.Gives("2147483647", 2147483647);
    INT.Gives("-2147483648", -2147483647 - 1);
    INT.Gives("-" + std::string(MIB, '0') + "7", -7);
    for (const std::string& value : {"2147483648"s,
                                     "-2147483649"s,
                                     "4294967297"s,
                                     "18446744073709551617"s,
                                     " 5"s,
                                     "5 "s,
                                     ""s,
                                     "+"s,
                                     "-"s,
                                     "+-5"s,
                                     "-+5"s,
                                     "--5"s,
                                     "++5"s,
                                     "5x"s,
                                     "abc"s,
                                     "1.5"s,
                                     "1e3"s,
                                     "1,000"s,
                                     "-0x10"s,
                                     "x10"s,
                                     "\xb2"s,
                                     "5\n"s,
                                     std::string(MIB, '9')})
        INT.Fails(value, "Wrong value [" + value + "] in integer variable Name");
}

TEST(IntParse, ReadsHexadecimalsAndOctals) {
    INT.Gives("0x1F", 31);
    INT.Gives("0X1f", 31);
    INT.Gives("0x1Fzz", 31);
    INT.Gives("0x1 2", 1);
    INT.Gives("0x0", 0);
    INT.Gives("0x00000000000000000000010", 16);
    INT.Gives("0x7fffffff", 2147483647);
    INT.Gives("0x80000000", -2147483647 - 1);
    INT.Gives("0xffffffff", -1);
    INT.Gives("0x1\0zz"s, 1);
    INT.Gives("017", 15);
    INT.Gives("010", 8);
    INT.Gives("0", 0);
    INT.Gives("00", 0);
    INT.Gives("08", 0);
    INT.Gives("09", 0);
    INT.Gives("0 5", 0);
    INT.Gives("0-5", 0);
    INT.Gives("0abc", 0);
    INT.Gives("0\0x5"s, 0);
    INT.Gives("0178", 15);
    INT.Gives("017777777777", 2147483647);
    INT.Gives("037777777777", -1);
    INT.Gives(std::string(MIB, '0') + "17", 15);
    INT.Gives("0x" + std::string(MIB, '0') + "1f", 31);
    for (const char* value : {"0xzz", "0x", "0X", "0x 1", "0x-1", "0x+1", "0xg"}) {
        INT.Fails(value, "Can not recognize hex value in ["s + value + "]");
        INT.Fails(value, "Can not recognize hex value in ["s + value + "]", "");
    }
    INT.Fails("0x\0001"s, "Can not recognize hex value in [0x\\01]");
}

TEST(Converters, LogNothingWithoutAName) {
    for (const char* value : {"abc", "", "-"}) {
        INT.Fails(value, "", "");
        TIME.Fails(value, "", "");
        SIZE.Fails(value, "", "");
    }
}

TEST(Converters, ShowANulInAMessage) {
    INT.Fails("1\0"s, "Wrong value [1\\0] in integer variable Name");
    TIME.Fails("1\0s"s, "Wrong value [1\\0s] in time variable A\\0B", "A\0B"s);
    SIZE.Fails("\xe9\0"s, "Wrong value [\xe9\\0] in size variable Name");
}

TEST(Converters, IgnoreDigitGrouping) {
    const GlobalLocale global(GroupingLocale());
    INT.Gives("1000", 1000);
    INT.Gives("1000000", 1000000);
    INT.Fails("1,000", "Wrong value [1,000] in integer variable Name");
    TIME.Gives("1000s", 1000);
    TIME.Fails("1,000s", "Wrong value [1,000s] in time variable Name");
    SIZE.Gives("1000k", 1024000);
    SIZE.Fails("1,000k", "Wrong value [1,000k] in size variable Name");
}

TEST(ConvertTimeValToSeconds, ReadsANumberAndAUnit) {
    TIME.Gives("30", 30);
    TIME.Gives("0", 0);
    TIME.Gives("010", 10);
    TIME.Gives("+5", 5);
    TIME.Gives("+5m", 300);
    TIME.Gives("5s", 5);
    TIME.Gives("5S", 5);
    TIME.Gives("2m", 120);
    TIME.Gives("2M", 120);
    TIME.Gives("1h", 3600);
    TIME.Gives("1H", 3600);
    TIME.Gives("2d", 172800);
    TIME.Gives("2D", 172800);
    TIME.Gives("2147483647", 2147483647);
    TIME.Gives("2147483647s", 2147483647);
    TIME.Gives(std::string(MIB, '0') + "1m", 60);
    // The product wraps at 32 bits.
    TIME.Gives("24855d", 2147472000);
    TIME.Gives("24856d", -2147408896);
    TIME.Gives("2147483647d", -86400);
    TIME.Gives("71582789m", 44);
    for (const std::string& value :
         {""s,           "m"s,           "-5"s,  "-5s"s,  "-0"s,    "+"s,
          "+s"s,         "+-5"s,         "-"s,   "1.5h"s, "10 s"s,  " 10"s,
          "10s "s,       "5mm"s,         "5ms"s, "5k"s,   "5w"s,    "0x10"s,
          "2147483648"s, "2147483648s"s, "abc"s, "\xe9"s, "5\xe9"s, std::string(MIB, '9') + "d"})
        TIME.Fails(value, "Wrong value [" + value + "] in time variable Name");
}

TEST(ConvertSizeValToBytes, ReadsANumberAndAUnit) {
    SIZE.Gives("512", 512);
    SIZE.Gives("0", 0);
    SIZE.Gives("010", 10);
    SIZE.Gives("+5", 5);
    SIZE.Gives("3b", 3);
    SIZE.Gives("3B", 3);
    SIZE.Gives("4k", 4096);
    SIZE.Gives("4K", 4096);
    SIZE.Gives("10m", 10485760);
    SIZE.Gives("10M", 10485760);
    SIZE.Gives("2g", 2147483648);
    SIZE.Gives("2G", 2147483648);
    SIZE.Gives("9223372036854775807", 9223372036854775807);
    // The product wraps at 64 bits.
    SIZE.Gives("8589934591G", 9223372035781033984);
    SIZE.Gives("8589934592G", -9223372036854775807 - 1);
    SIZE.Gives("17179869184g", 0);
    SIZE.Gives("9223372036854775807k", -1024);
    for (const std::string& value : {""s,
                                     "k"s,
                                     "-5"s,
                                     "-5k"s,
                                     "+"s,
                                     "+k"s,
                                     "+-5"s,
                                     "1.5k"s,
                                     "10 k"s,
                                     " 10"s,
                                     "10k "s,
                                     "5kb"s,
                                     "5kk"s,
                                     "5s"s,
                                     "1T"s,
                                     "1t"s,
                                     "0x10"s,
                                     "9223372036854775808"s,
                                     "9223372036854775808b"s,
                                     "abc"s,
                                     "\xe9"s,
                                     "5\0"s + "k",
                                     std::string(MIB, '9') + "g"}) {
        std::string shown = value;
        if (const auto nul = shown.find('\0'); nul != std::string::npos)
            shown.replace(nul, 1, "\\0");
        SIZE.Fails(value, "Wrong value [" + shown + "] in size variable Name");
    }
}

} // namespace
