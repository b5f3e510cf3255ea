// SPDX-License-Identifier: MIT
#include "conf/ConfParser.h"
#include "lookup/builtin/KwDomainsLookup.h"

#include "support/RecordingLog.h"
#include "support/TestLocale.h"
#include "support/TextFinder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <locale>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

using testing::ElementsAre;
using testing::IsEmpty;

static_assert(std::is_convertible_v<ConfParser*, IfConfParser*>);
static_assert(std::has_virtual_destructor_v<ConfParser>);
static_assert(!std::is_copy_constructible_v<ConfParser> && !std::is_copy_assignable_v<ConfParser>);

namespace {

using Strings = std::vector<std::string>;
using Type = IfConfParser::VarType;

/// Each test starts with an empty log with every level enabled, and a parser that writes to it.
class ConfParserRegistry : public testing::Test {
protected:
    ConfParserRegistry() { RecordingLog::Reset(); }
    ~ConfParserRegistry() override { RecordingLog::Reset(); }

    LogClass log{"conf"};
    ConfParser parser{log};
};

/// The effect of one setting on a variable, and its message.
template <typename Value>
struct Case {
    Case(const char* value, bool is_set, const Value& expected, const Strings& lines = Strings())
        : text(value), set(is_set), after(expected), warnings(lines) {}

    std::string text;
    bool set;
    Value after;
    Strings warnings;
};

/// Tries each case with a new variable that holds `before`. It is registered as "Name" and set as
/// "nAmE". Checks every line of the log.
template <typename Value>
void Try(Type type, const Value& before, const Value* def, const std::vector<Case<Value>>& cases) {
    for (const Case<Value>& c : cases) {
        SCOPED_TRACE("type " + std::to_string(type) + " text [" + c.text + "]");
        RecordingLog::Reset();
        const LogClass log("conf");
        ConfParser parser(log);
        Value var = before;
        parser.Add("Name", &var, type, def);
        EXPECT_EQ(parser.SetNewVal("nAmE", c.text), c.set);
        EXPECT_EQ(var, c.after);
        std::vector<RecordingLog::Line> lines{
            {DEBUG, "conf", "SetNewVal: variable =[nAmE] val=[" + c.text + "]"}};
        for (const std::string& warning : c.warnings)
            lines.push_back({WARN, "conf", warning});
        EXPECT_EQ(RecordingLog::GetLines(), lines);
    }
}

Strings WrongValue(const std::string& text, const std::string& kind) {
    return {"Wrong value [" + text + "] in " + kind + " variable nAmE"};
}

const Strings OPEN_QUOTE{"error on variable nAmE: can't find final '\"' symbol"};
const Strings LONE_BACKSLASH{"error on variable nAmE: can't find sybol after '\\'"};

/// Tries an empty text and a text of blanks, for a number or a boolean.
template <typename Value>
void TryDefaults(Type type, Value before, Value def) {
    for (const char* text : {"", "   ", " \t\n\v\f\r"}) {
        Try<Value>(type, before, &def, {{text, true, def}});
        Try<Value>(type, before, nullptr, {{text, true, before}});
    }
}

/// An object variable that records its texts and may fail.
class TextObject : public virtual KwIfObject {
public:
    void Init(const std::string& text) override {
        texts.push_back(text);
        if (text == "standard")
            throw std::domain_error("no such object");
        if (text == "memory")
            throw std::bad_alloc();
        if (text == "foreign")
            throw 42;
    }
    std::string GetDescription() const override { return ""; }
    void InitLog(const LogClass&) override {}
    const LogClass* GetLogPtr() const override { return nullptr; }

    Strings texts;
};

class OtherBase {
public:
    virtual ~OtherBase() = default;
    long m_filler = 0;
};

/// Its KwIfObject is not at its own address.
class LateObject : public OtherBase, public TextObject {};

} // namespace

TEST_F(ConfParserRegistry, Integers) {
    Try<int>(IfConfParser::VT_INT, 5, nullptr,
             {{"10", true, 10},
              {" -10\t", true, -10},
              {"+7", true, 7},
              {"0x1F", true, 31},
              {" 017 ", true, 15},
              {"09", true, 0},
              {"2147483647", true, 2147483647},
              {"2147483648", false, 5, WrongValue("2147483648", "integer")},
              {" x ", false, 5, WrongValue("x", "integer")},
              {"1 2", false, 5, WrongValue("1 2", "integer")},
              {"2m", false, 5, WrongValue("2m", "integer")},
              {"\"1\"", false, 5, WrongValue("\"1\"", "integer")},
              {"0xzz", false, 5, {"Can not recognize hex value in [0xzz]"}}});
    TryDefaults<int>(IfConfParser::VT_INT, 5, 7);
}

TEST_F(ConfParserRegistry, ADefaultDoesNotHideABadNumber) {
    const int def = 7;
    Try<int>(IfConfParser::VT_INT, 5, &def, {{"x", false, 5, WrongValue("x", "integer")}});
    Try<int>(IfConfParser::VT_TIME, 5, &def, {{"x", false, 5, WrongValue("x", "time")}});
    const long long big = 7;
    Try<long long>(IfConfParser::VT_SIZE, 5, &big, {{"x", false, 5, WrongValue("x", "size")}});
    const bool yes = true;
    Try<bool>(IfConfParser::VT_BOOL, false, &yes, {{"x", false, false, WrongValue("x", "bool")}});
}

TEST_F(ConfParserRegistry, Booleans) {
    for (bool before : {false, true}) {
        Try<bool>(IfConfParser::VT_BOOL, before, nullptr,
                  {{"Yes", true, true},
                   {"on", true, true},
                   {" TRUE\n", true, true},
                   {" off ", true, false},
                   {"No", true, false},
                   {"FaLsE", true, false},
                   {"maybe", false, before, WrongValue("maybe", "bool")},
                   {" maybe ", false, before, WrongValue(" maybe ", "bool")},
                   {"1", false, before, WrongValue("1", "bool")},
                   {"y", false, before, WrongValue("y", "bool")},
                   {"\"yes\"", false, before, WrongValue("\"yes\"", "bool")}});
        TryDefaults<bool>(IfConfParser::VT_BOOL, before, !before);
    }
}

TEST_F(ConfParserRegistry, Strings) {
    const std::string def = "default"; // Never used.
    for (const std::string* d : {static_cast<const std::string*>(nullptr), &def})
        Try<std::string>(IfConfParser::VT_STRING, "before", d,
                         {{"abc", true, "abc"},
                          {"\"a b\"", true, "a b"},
                          {" x ", true, " x "},
                          {" \"a\" ", true, " \"a\" "},
                          {"\"\"a\"\"", true, "\"a\""},
                          {"\"", true, "\""},
                          {"\"a", true, "\"a"},
                          {"a\\", true, "a\\"},
                          {"", true, ""},
                          {"  ", true, "  "},
                          {"\"\"", true, ""}});
}

TEST_F(ConfParserRegistry, RawStrings) {
    const std::string def = "default"; // Never used.
    for (const std::string* d : {static_cast<const std::string*>(nullptr), &def})
        Try<std::string>(IfConfParser::VT_RAW_STRING, "before", d,
                         {{"\"a\"", true, "\"a\""},
                          {" x ", true, " x "},
                          {"a\\,b", true, "a\\,b"},
                          {"", true, ""},
                          {"  ", true, "  "}});
}

TEST_F(ConfParserRegistry, StringLists) {
    const Strings def{"default"}; // Never used.
    for (const Strings* d : {static_cast<const Strings*>(nullptr), &def})
        Try<Strings>(IfConfParser::VT_STRING_LIST, {"before"}, d,
                     {{"a, b ,\"c,d\"", true, {"a", "b", "c,d"}},
                      {"a\\,b", true, {"a,b"}},
                      {"a,,b,", true, {"a", "", "b"}},
                      {"", true, {}},
                      {"  ", true, {""}},
                      {"\"a", false, {}, OPEN_QUOTE},
                      {"a,b,\"c", false, {"a", "b"}, OPEN_QUOTE},
                      {"a,b\\", false, {"a"}, LONE_BACKSLASH}});
}

TEST_F(ConfParserRegistry, Times) {
    Try<int>(IfConfParser::VT_TIME, 5, nullptr,
             {{"30", true, 30},
              {" 2m ", true, 120},
              {"1H", true, 3600},
              {"2d", true, 172800},
              {"24856d", true, -2147408896},
              {"-5", false, 5, WrongValue("-5", "time")},
              {" m", false, 5, WrongValue("m", "time")},
              {"1.5h", false, 5, WrongValue("1.5h", "time")},
              {"10 s", false, 5, WrongValue("10 s", "time")}});
    TryDefaults<int>(IfConfParser::VT_TIME, 5, 3600);
}

TEST_F(ConfParserRegistry, Sizes) {
    Try<long long>(IfConfParser::VT_SIZE, 5, nullptr,
                   {{"512", true, 512},
                    {" 4k\t", true, 4096},
                    {"2G", true, 2147483648},
                    {"9223372036854775807", true, 9223372036854775807},
                    {"-1", false, 5, WrongValue("-1", "size")},
                    {" 1T ", false, 5, WrongValue("1T", "size")}});
    TryDefaults<long long>(IfConfParser::VT_SIZE, 5, 0x123456789abcdef0);
}

TEST_F(ConfParserRegistry, IntegerLists) {
    const std::vector<int> before{4, 5};
    const std::vector<int> def{6}; // Never used.
    for (const std::vector<int>* d : {static_cast<const std::vector<int>*>(nullptr), &def})
        Try<std::vector<int>>(
            IfConfParser::VT_INT_LIST, before, d,
            {{"1,0x10,010", true, {1, 16, 8}},
             {" 1 , \"2\" ", true, {1, 2}},
             {"7,", true, {7}},
             {"", true, before},
             {"  ", false, {}, WrongValue("", "integer")},
             {"1,x,3", false, {1}, WrongValue("x", "integer")},
             {"1,2,0xzz,y", false, {1, 2}, {"Can not recognize hex value in [0xzz]"}},
             {",1", false, {}, WrongValue("", "integer")},
             {"1,\"2", false, before, OPEN_QUOTE},
             {"1,2\\", false, before, LONE_BACKSLASH}});
}

TEST_F(ConfParserRegistry, TimeLists) {
    const std::vector<int> before{4, 5};
    Try<std::vector<int>>(IfConfParser::VT_TIME_LIST, before, nullptr,
                          {{"1, 2m ,1H", true, {1, 120, 3600}},
                           {"", true, before},
                           {" ", false, {}, WrongValue("", "time")},
                           {"1m,-2,3", false, {60}, WrongValue("-2", "time")},
                           {"\"", false, before, OPEN_QUOTE}});
}

TEST_F(ConfParserRegistry, SizeLists) {
    const std::vector<long long> before{4, 5};
    Try<std::vector<long long>>(IfConfParser::VT_SIZE_LIST, before, nullptr,
                                {{"1k, 2M", true, {1024, 2097152}},
                                 {"4G", true, {4294967296}},
                                 {"", true, before},
                                 {" ", false, {}, WrongValue("", "size")},
                                 {"1k,1T,3", false, {1024}, WrongValue("1T", "size")},
                                 {"\"", false, before, OPEN_QUOTE}});
}

TEST_F(ConfParserRegistry, AVariableWithoutATypeCannotBeSet) {
    const int def = 7;
    for (const char* text : {"1", "", "  "})
        Try<int>(IfConfParser::VT_UNSET, 5, &def,
                 {{text, false, 5, {"Variable nAmE has not initialize type !?"}}});
}

TEST_F(ConfParserRegistry, AVariableOfAnUnknownTypeCannotBeSet) {
    const GlobalLocale grouping(GroupingLocale()); // has no effect on the message
    const int def = 7;
    for (unsigned code : {13U, 15U, 16U, 255U, 4294967295U})
        Try<int>(static_cast<Type>(code), 5, &def,
                 {{"1", false, 5, {"nAmE: have wrong type " + std::to_string(code)}},
                  {"", false, 5, {"nAmE: have wrong type " + std::to_string(code)}}});
}

TEST_F(ConfParserRegistry, TheNumbersOfTheTypesAreFixed) {
    const Type types[] = {
        IfConfParser::VT_UNSET,     IfConfParser::VT_INT,         IfConfParser::VT_BOOL,
        IfConfParser::VT_STRING,    IfConfParser::VT_STRING_LIST, IfConfParser::VT_TIME,
        IfConfParser::VT_SIZE,      IfConfParser::VT_INT_LIST,    IfConfParser::VT_TIME_LIST,
        IfConfParser::VT_SIZE_LIST, IfConfParser::VT_OBJECT,      IfConfParser::VT_OBJECT_ALT,
        IfConfParser::VT_RAW_STRING};
    unsigned code = 0;
    for (Type type : types)
        EXPECT_EQ(type, code++);
    EXPECT_EQ(code, 13U);
    EXPECT_EQ(sizeof(Type), 4U);
}

TEST_F(ConfParserRegistry, ADefaultIsCopiedInTheWidthOfItsVariable) {
    int ints[] = {1, 2, 3};
    const int int_defs[] = {0x11223344, 0x55667788};
    parser.Add("int", &ints[1], IfConfParser::VT_INT, int_defs);
    EXPECT_TRUE(parser.SetNewVal("int", ""));
    EXPECT_THAT(ints, ElementsAre(1, 0x11223344, 3));
    parser.Add("time", &ints[0], IfConfParser::VT_TIME, &int_defs[1]);
    EXPECT_TRUE(parser.SetNewVal("time", " "));
    EXPECT_THAT(ints, ElementsAre(0x55667788, 0x11223344, 3));

    bool bools[] = {false, false, false};
    const bool bool_defs[] = {true, true, true};
    parser.Add("bool", &bools[1], IfConfParser::VT_BOOL, bool_defs);
    EXPECT_TRUE(parser.SetNewVal("bool", ""));
    EXPECT_THAT(bools, ElementsAre(false, true, false));

    long long sizes[] = {1, 2, 3};
    const long long size_defs[] = {0x1122334455667788, 4};
    parser.Add("size", &sizes[1], IfConfParser::VT_SIZE, size_defs);
    EXPECT_TRUE(parser.SetNewVal("size", ""));
    EXPECT_THAT(sizes, ElementsAre(1, 0x1122334455667788, 3));
}

TEST_F(ConfParserRegistry, ADefaultIsReadWhenItIsUsed) {
    int var = 1;
    int def = 2;
    parser.Add("x", &var, IfConfParser::VT_INT, &def);
    EXPECT_EQ(var, 1);
    def = 3;
    EXPECT_TRUE(parser.SetNewVal("x", ""));
    EXPECT_EQ(var, 3);
}

TEST_F(ConfParserRegistry, AVariableMayBeItsOwnDefault) {
    int var = 4;
    parser.Add("x", &var, IfConfParser::VT_INT, &var);
    EXPECT_TRUE(parser.SetNewVal("x", ""));
    EXPECT_EQ(var, 4);
}

TEST_F(ConfParserRegistry, NamesIgnoreLetterCase) {
    int timeout = 0;
    parser.Add("Timeout", &timeout, IfConfParser::VT_TIME, nullptr);
    EXPECT_TRUE(parser.SetNewVal("TIMEOUT", "2m"));
    EXPECT_EQ(timeout, 120);
    EXPECT_TRUE(parser.SetNewVal("timeout", "3"));
    EXPECT_EQ(timeout, 3);
    EXPECT_THAT(RecordingLog::Texts(DEBUG), ElementsAre("SetNewVal: variable =[TIMEOUT] val=[2m]",
                                                        "SetNewVal: variable =[timeout] val=[3]"));
}

TEST_F(ConfParserRegistry, NamesAreComparedWhole) {
    int number = 0;
    parser.Add("Port", &number, IfConfParser::VT_INT, nullptr);
    for (const char* name : {"", "Por", "Ports", " Port", "Port ", "lookup/Port"}) {
        SCOPED_TRACE(name);
        EXPECT_FALSE(parser.SetNewVal(name, "1"));
    }
    EXPECT_EQ(number, 0);
}

TEST_F(ConfParserRegistry, TheEmptyNameIsANameToo) {
    int number = 0;
    parser.Add("", &number, IfConfParser::VT_INT, nullptr);
    EXPECT_TRUE(parser.SetNewVal("", "1"));
    EXPECT_EQ(number, 1);
    RecordingLog::Reset(WARN);
    EXPECT_FALSE(parser.SetNewVal("", "x")); // Without a name the converter does not log.
    EXPECT_THAT(RecordingLog::GetLines(), IsEmpty());
}

TEST_F(ConfParserRegistry, NamesOfAnyBytes) {
    const std::string with_nul("a\0b", 3);
    int umlaut = 0;
    int small = 0;
    int nul = 0;
    int a = 0;
    parser.Add("\xc4", &umlaut, IfConfParser::VT_INT, nullptr);
    parser.Add("\xe4", &small, IfConfParser::VT_INT, nullptr);
    parser.Add(with_nul, &nul, IfConfParser::VT_INT, nullptr);
    parser.Add("a", &a, IfConfParser::VT_INT, nullptr);
    EXPECT_TRUE(parser.SetNewVal("\xc4", "1"));
    EXPECT_TRUE(parser.SetNewVal("\xe4", "2"));
    EXPECT_TRUE(parser.SetNewVal(std::string("A\0B", 3), "3"));
    EXPECT_TRUE(parser.SetNewVal("A", "4"));
    EXPECT_THAT((std::vector<int>{umlaut, small, nul, a}), ElementsAre(1, 2, 3, 4));
    RecordingLog::Reset();
    EXPECT_FALSE(parser.SetNewVal(std::string("a\0c\xff", 4), std::string("\0", 1)));
    EXPECT_THAT(RecordingLog::Texts(DEBUG),
                ElementsAre("SetNewVal: variable =[a\\0c\xff] val=[\\0]"));
    EXPECT_THAT(RecordingLog::Texts(ERROR), ElementsAre("unknown variable name a\\0c\xff"));
}

TEST_F(ConfParserRegistry, LetterCaseAndWhiteSpaceAreThoseOfTheGlobalLocale) {
    const GlobalLocale latin1(TestBytes::Latin1().GetLocale());
    int number = 0;
    parser.Add("Gr\xc4", &number, IfConfParser::VT_INT, nullptr);
    EXPECT_TRUE(parser.SetNewVal("gR\xe4", " \xa0+1\xa0"));
    EXPECT_EQ(number, 1);
    bool boolean = false;
    parser.Add("bool", &boolean, IfConfParser::VT_BOOL, nullptr);
    EXPECT_TRUE(parser.SetNewVal("bool", "\xa0yes"));
    EXPECT_TRUE(boolean);

    // A second registration under the other letter case replaces the first.
    int other = 0;
    parser.Add("gr\xe4", &other, IfConfParser::VT_INT, nullptr);
    EXPECT_TRUE(parser.SetNewVal("GR\xc4", "2"));
    EXPECT_EQ(number, 1);
    EXPECT_EQ(other, 2);
    {
        const GlobalLocale classic(std::locale::classic());
        EXPECT_FALSE(parser.SetNewVal("GR\xc4", "3"));
        EXPECT_FALSE(parser.SetNewVal("gr\xe4", "\xa0+4"));
    }
    EXPECT_EQ(other, 2);
}

TEST_F(ConfParserRegistry, AnUnknownNameIsAnError) {
    EXPECT_FALSE(parser.SetNewVal("nosuch", "1"));
    EXPECT_FALSE(parser.SetNewVal("NoSuch", ""));
    const std::vector<RecordingLog::Line> lines{
        {DEBUG, "conf", "SetNewVal: variable =[nosuch] val=[1]"},
        {ERROR, "conf", "unknown variable name nosuch"},
        {DEBUG, "conf", "SetNewVal: variable =[NoSuch] val=[]"},
        {ERROR, "conf", "unknown variable name NoSuch"}};
    EXPECT_EQ(RecordingLog::GetLines(), lines);
}

TEST_F(ConfParserRegistry, ASecondRegistrationReplacesTheFirst) {
    int time = 0;
    const int def = 9;
    int number = 0;
    parser.Add("Timeout", &time, IfConfParser::VT_TIME, &def);
    parser.Add("timeout", &number, IfConfParser::VT_INT, nullptr);
    EXPECT_THAT(RecordingLog::GetLines(), IsEmpty());
    EXPECT_TRUE(parser.SetNewVal("Timeout", "0x10"));
    EXPECT_TRUE(parser.SetNewVal("Timeout", ""));
    EXPECT_EQ(number, 16);
    EXPECT_EQ(time, 0);

    // The new default takes effect as well.
    parser.Add("TIMEOUT", &number, IfConfParser::VT_INT, &def);
    EXPECT_TRUE(parser.SetNewVal("Timeout", ""));
    EXPECT_EQ(number, 9);
}

TEST_F(ConfParserRegistry, RegisteringChangesNoVariable) {
    int first = 1;
    int second = 2;
    const int def = 3;
    parser.Add("first", &first, IfConfParser::VT_INT, &def);
    EXPECT_TRUE(parser.SetNewVal("first", "10"));
    EXPECT_FALSE(parser.SetNewVal("second", "20"));
    parser.Add("second", &second, IfConfParser::VT_INT, &def);
    EXPECT_EQ(second, 2);
    EXPECT_TRUE(parser.SetNewVal("second", "20"));
    EXPECT_TRUE(parser.SetNewVal("first", "11"));
    EXPECT_EQ(first, 11);
    EXPECT_EQ(second, 20);
}

TEST_F(ConfParserRegistry, AFailureDoesNotAffectTheNextSetting) {
    std::vector<int> list{1};
    parser.Add("list", &list, IfConfParser::VT_INT_LIST, nullptr);
    EXPECT_FALSE(parser.SetNewVal("list", "2,x"));
    EXPECT_THAT(list, ElementsAre(2));
    EXPECT_TRUE(parser.SetNewVal("list", ""));
    EXPECT_THAT(list, ElementsAre(2));
    EXPECT_TRUE(parser.SetNewVal("list", "3,4"));
    EXPECT_THAT(list, ElementsAre(3, 4));
}

TEST_F(ConfParserRegistry, TheTextMayBeAPartOfTheVariable) {
    Strings list{"first of a long line of items, second of them"};
    parser.Add("list", &list, IfConfParser::VT_STRING_LIST, nullptr);
    EXPECT_TRUE(parser.SetNewVal("list", list[0]));
    EXPECT_THAT(list, ElementsAre("first of a long line of items", "second of them"));

    std::string text = "\"quoted\"";
    parser.Add("text", &text, IfConfParser::VT_STRING, nullptr);
    EXPECT_TRUE(parser.SetNewVal("text", text));
    EXPECT_EQ(text, "quoted");
    parser.Add("raw", &text, IfConfParser::VT_RAW_STRING, nullptr);
    EXPECT_TRUE(parser.SetNewVal("raw", text));
    EXPECT_EQ(text, "quoted");
}

/// Set a Holder that is registered by its own address, as configurations do.
template <typename Holder>
void TryHolder() {
    const LogClass log("conf");
    Holder holder(log);
    ASSERT_EQ(static_cast<void*>(&holder), static_cast<void*>(static_cast<KwIfObject*>(&holder)));
    for (Type type : {IfConfParser::VT_OBJECT, IfConfParser::VT_OBJECT_ALT}) {
        SCOPED_TRACE(type);
        ConfParser parser(log);
        parser.Add("SkipDomains", &holder, type, nullptr);
        EXPECT_TRUE(parser.SetNewVal("skipdomains", " a.lan , value:\"b.lan\""));
        EXPECT_EQ(holder.GetDescription(), " a.lan , value:\"b.lan\"");
        EXPECT_EQ(holder.GetObjects().size(), 2U);
        const KwIfLookup& lookup = holder;
        EXPECT_TRUE(lookup.Find(TextFinder("a.lan"), nullptr, FIND_EXACT, nullptr));
        EXPECT_FALSE(lookup.Find(TextFinder("c.lan"), nullptr, FIND_EXACT, nullptr));

        RecordingLog::Reset();
        EXPECT_FALSE(parser.SetNewVal("skipdomains", "a,\"b"));
        EXPECT_THAT(RecordingLog::Texts(WARN),
                    ElementsAre("error on variable skipdomains: can't find final '\"' symbol"));

        EXPECT_TRUE(parser.SetNewVal("skipdomains", "c.lan"));
        EXPECT_FALSE(holder.Empty());
        EXPECT_TRUE(parser.SetNewVal("skipdomains", ""));
        EXPECT_TRUE(holder.Empty());
    }
}

TEST_F(ConfParserRegistry, AHolderTakesItsOwnText) {
    TryHolder<KwLookupHolder>();
    TryHolder<KwDomainsLookup>();
}

TEST_F(ConfParserRegistry, AHolderReportsItsFailedItemsItself) {
    KwLookupHolder holder(log, KwObjectHolder::BuiltinOnly);
    parser.Add("SkipDomains", &holder, IfConfParser::VT_OBJECT, nullptr);
    RecordingLog::Reset(WARN);
    EXPECT_TRUE(parser.SetNewVal("SkipDomains", "a.lan, file:/nonexistent/list"));
    EXPECT_EQ(holder.GetObjects().size(), 1U);
    EXPECT_THAT(RecordingLog::Texts(WARN), IsEmpty());
    EXPECT_EQ(RecordingLog::Texts(ERROR).size(), 1U);
}

TEST_F(ConfParserRegistry, AnObjectGetsTheTextAsItIs) {
    TextObject object;
    LateObject late;
    ASSERT_NE(static_cast<void*>(&late), static_cast<void*>(static_cast<KwIfObject*>(&late)));
    const Strings texts{"a, b", "  ", "", " \"x\" ", std::string("n\0l", 3)};
    for (Type type : {IfConfParser::VT_OBJECT, IfConfParser::VT_OBJECT_ALT}) {
        SCOPED_TRACE(type);
        const std::string def = "default"; // Never used.
        parser.Add("object", &object, type, &def);
        parser.Add("late", static_cast<KwIfObject*>(&late), type, nullptr);
        for (const std::string& text : texts) {
            EXPECT_TRUE(parser.SetNewVal("object", text));
            EXPECT_TRUE(parser.SetNewVal("late", text));
        }
        EXPECT_EQ(object.texts, texts);
        EXPECT_EQ(late.texts, texts);
        object.texts.clear();
        late.texts.clear();
    }
    EXPECT_THAT(RecordingLog::Texts(WARN), IsEmpty());
}

TEST_F(ConfParserRegistry, ExceptionsOfAnObject) {
    for (Type type : {IfConfParser::VT_OBJECT, IfConfParser::VT_OBJECT_ALT}) {
        SCOPED_TRACE(type);
        TextObject object;
        parser.Add("Object", &object, type, nullptr);
        RecordingLog::Reset(WARN);
        EXPECT_FALSE(parser.SetNewVal("oBJECT", "standard"));
        EXPECT_FALSE(parser.SetNewVal("oBJECT", "memory"));
        const std::vector<RecordingLog::Line> lines{
            {WARN, "conf", "error on variable oBJECT: no such object"},
            {WARN, "conf", std::string("error on variable oBJECT: ") + std::bad_alloc().what()}};
        EXPECT_EQ(RecordingLog::GetLines(), lines);

        EXPECT_THROW(parser.SetNewVal("object", "foreign"), int);
        EXPECT_EQ(RecordingLog::GetLines().size(), 2U);
        EXPECT_TRUE(parser.SetNewVal("object", "after"));
        EXPECT_THAT(object.texts, ElementsAre("standard", "memory", "foreign", "after"));
    }
}

TEST_F(ConfParserRegistry, EachMessageHasItsLevel) {
    TextObject object;
    int number = 0;
    bool boolean = false;
    std::vector<int> list;
    parser.Add("unset", &number, IfConfParser::VT_UNSET, nullptr);
    parser.Add("newer", &number, static_cast<Type>(13), nullptr);
    parser.Add("int", &number, IfConfParser::VT_INT, nullptr);
    parser.Add("bool", &boolean, IfConfParser::VT_BOOL, nullptr);
    parser.Add("list", &list, IfConfParser::VT_INT_LIST, nullptr);
    parser.Add("object", &object, IfConfParser::VT_OBJECT, nullptr);

    struct Message {
        std::string name;
        std::string text;
        int level;
        std::string message;
    };
    const std::vector<Message> messages{
        {"nosuch", "1", ERROR, "unknown variable name nosuch"},
        {"unset", "1", WARN, "Variable unset has not initialize type !?"},
        {"newer", "1", WARN, "newer: have wrong type 13"},
        {"int", "x", WARN, "Wrong value [x] in integer variable int"},
        {"bool", " x", WARN, "Wrong value [ x] in bool variable bool"},
        {"list", "1,x,y", WARN, "Wrong value [x] in integer variable list"},
        {"list", "\"", WARN, "error on variable list: can't find final '\"' symbol"},
        {"object", "standard", WARN, "error on variable object: no such object"}};

    for (int enabled : {0, 2, 3, 5}) {
        SCOPED_TRACE(enabled);
        for (const Message& m : messages) {
            SCOPED_TRACE(m.message);
            if (enabled == 0)
                RecordingLog::Silence();
            else
                RecordingLog::Reset(static_cast<log4cxx::Level::LevelEnum>(enabled));
            EXPECT_FALSE(parser.SetNewVal(m.name, m.text));
            std::vector<RecordingLog::Line> lines;
            if (enabled >= DEBUG)
                lines.push_back(
                    {DEBUG, "conf", "SetNewVal: variable =[" + m.name + "] val=[" + m.text + "]"});
            if (enabled >= m.level)
                lines.push_back({m.level, "conf", m.message});
            EXPECT_EQ(RecordingLog::GetLines(), lines);
        }
    }
}

TEST_F(ConfParserRegistry, ValuesWithNul) {
    const std::string value("1\0 ", 3);
    const std::string inner("1\0", 2);
    int number = 5;
    bool boolean = true;
    std::string text;
    std::string raw;
    Strings list;
    parser.Add("int", &number, IfConfParser::VT_INT, nullptr);
    parser.Add("bool", &boolean, IfConfParser::VT_BOOL, nullptr);
    parser.Add("text", &text, IfConfParser::VT_STRING, nullptr);
    parser.Add("raw", &raw, IfConfParser::VT_RAW_STRING, nullptr);
    parser.Add("list", &list, IfConfParser::VT_STRING_LIST, nullptr);
    EXPECT_FALSE(parser.SetNewVal("int", value));
    EXPECT_FALSE(parser.SetNewVal("bool", value));
    EXPECT_TRUE(parser.SetNewVal("text", value));
    EXPECT_TRUE(parser.SetNewVal("raw", value));
    EXPECT_TRUE(parser.SetNewVal("list", value + "," + value));
    EXPECT_EQ(number, 5);
    EXPECT_EQ(boolean, true);
    EXPECT_EQ(text, value);
    EXPECT_EQ(raw, value);
    EXPECT_THAT(list, ElementsAre(inner, inner));
    EXPECT_THAT(RecordingLog::Texts(WARN),
                ElementsAre("Wrong value [1\\0] in integer variable int",
                            "Wrong value [1\\0 ] in bool variable bool"));
}

TEST_F(ConfParserRegistry, ValuesAndNamesOfAMebibyte) {
    constexpr std::size_t MIB = 1 << 20;
    const std::string name(MIB, 'N');
    std::string text;
    parser.Add(name, &text, IfConfParser::VT_STRING, nullptr);
    EXPECT_TRUE(parser.SetNewVal(std::string(MIB, 'n'), std::string(MIB, '"')));
    EXPECT_TRUE(text == std::string(MIB - 2, '"'));

    std::string ones;
    for (std::size_t i = 0; i < MIB / 2; ++i)
        ones += "1,";
    Strings strings;
    std::vector<int> numbers;
    std::vector<long long> sizes;
    TextObject object;
    parser.Add("strings", &strings, IfConfParser::VT_STRING_LIST, nullptr);
    parser.Add("numbers", &numbers, IfConfParser::VT_INT_LIST, nullptr);
    parser.Add("sizes", &sizes, IfConfParser::VT_SIZE_LIST, nullptr);
    parser.Add("object", &object, IfConfParser::VT_OBJECT, nullptr);
    for (const char* list : {"strings", "numbers", "sizes", "object"})
        EXPECT_TRUE(parser.SetNewVal(list, ones)) << list;
    EXPECT_TRUE(strings == Strings(MIB / 2, "1"));
    EXPECT_TRUE(numbers == std::vector<int>(MIB / 2, 1));
    EXPECT_TRUE(sizes == std::vector<long long>(MIB / 2, 1));
    ASSERT_EQ(object.texts.size(), 1U);
    EXPECT_TRUE(object.texts[0] == ones);

    int number = 0;
    parser.Add("int", &number, IfConfParser::VT_INT, nullptr);
    EXPECT_TRUE(parser.SetNewVal("int", std::string(MIB, ' ') + "8" + std::string(MIB, ' ')));
    EXPECT_EQ(number, 8);
    RecordingLog::Reset(WARN);
    EXPECT_FALSE(parser.SetNewVal("int", std::string(MIB, '8')));
    const Strings warnings = RecordingLog::Texts(WARN);
    ASSERT_EQ(warnings.size(), 1U);
    EXPECT_TRUE(warnings[0] ==
                "Wrong value [" + std::string(MIB, '8') + "] in integer variable int");
}

TEST_F(ConfParserRegistry, AParserLeavesItsVariablesBehind) {
    const std::string long_text = "a text that does not fit into the string itself";
    auto text = std::make_unique<std::string>("before");
    auto list = std::make_unique<Strings>();
    auto object = std::make_unique<TextObject>();
    {
        const std::unique_ptr<IfConfParser> owned = std::make_unique<ConfParser>(log);
        owned->Add("text", text.get(), IfConfParser::VT_STRING, nullptr);
        owned->Add("list", list.get(), IfConfParser::VT_STRING_LIST, nullptr);
        owned->Add("object", object.get(), IfConfParser::VT_OBJECT, nullptr);
        auto& own_parser = dynamic_cast<ConfParser&>(*owned);
        EXPECT_TRUE(own_parser.SetNewVal("text", long_text));
        EXPECT_TRUE(own_parser.SetNewVal("list", long_text));
        EXPECT_TRUE(own_parser.SetNewVal("object", long_text));
    }
    EXPECT_EQ(*text, long_text);
    EXPECT_THAT(*list, ElementsAre(long_text));
    EXPECT_THAT(object->texts, ElementsAre(long_text));
}

TEST_F(ConfParserRegistry, AVariableMayBeDestroyedBeforeItsParser) {
    {
        const auto gone = std::make_unique<std::string>();
        parser.Add("gone", gone.get(), IfConfParser::VT_STRING, nullptr);
    }
    std::string text;
    parser.Add("gone", &text, IfConfParser::VT_STRING, nullptr);
    EXPECT_TRUE(parser.SetNewVal("gone", "set"));
    EXPECT_EQ(text, "set");
    const auto gone = std::make_unique<std::string>();
    parser.Add("gone", gone.get(), IfConfParser::VT_STRING, nullptr);
}

TEST_F(ConfParserRegistry, ParsersAreIndependent) {
    const LogClass other_log("other");
    ConfParser other(other_log);
    int mine = 0;
    int theirs = 0;
    parser.Add("x", &mine, IfConfParser::VT_INT, nullptr);
    other.Add("x", &theirs, IfConfParser::VT_TIME, nullptr);
    RecordingLog::Reset(WARN);
    EXPECT_TRUE(other.SetNewVal("x", "1m"));
    EXPECT_FALSE(parser.SetNewVal("x", "1m"));
    EXPECT_FALSE(other.SetNewVal("x", "?"));
    EXPECT_EQ(mine, 0);
    EXPECT_EQ(theirs, 60);
    const std::vector<RecordingLog::Line> lines{
        {WARN, "conf", "Wrong value [1m] in integer variable x"},
        {WARN, "other", "Wrong value [?] in time variable x"}};
    EXPECT_EQ(RecordingLog::GetLines(), lines);
}
