// SPDX-License-Identifier: MIT
// Sets a variable to a text. The first byte is the number of the variable's type, the lowest bit of
// the second byte is set if there is a default, and the rest is the text.
#include "conf/ConfParser.h"
#include "fuzz/Require.h"
#include "host/LogClass.h"
#include "lookup/KwIfObject.h"

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

int g_lines[6]; // the number of lines written at each level

class TextObject : public KwIfObject {
public:
    void Init(const std::string& text) override {
        m_text = text;
        if (text.size() % 2 != 0)
            throw std::invalid_argument("an odd text");
    }
    std::string GetDescription() const override { return m_text; }
    void InitLog(const LogClass&) override {}
    const LogClass* GetLogPtr() const override { return nullptr; }

private:
    std::string m_text;
};

/// Set `*var` to `text`.
template <typename Value>
bool Set(IfConfParser::VarType type, const std::string& text, const Value* def, Value* var) {
    const LogClass log("fuzz");
    ConfParser parser(log);
    parser.Add("Name", var, type, def);
    return parser.SetNewVal("nAME", text);
}

/// Check that a variable other than a list keeps its value if it cannot be set.
template <typename Value>
bool SetOne(IfConfParser::VarType type, const std::string& text, bool has_default) {
    const Value before(1);
    const Value def(0);
    Value var = before;
    const bool set = Set(type, text, has_default ? &def : nullptr, &var);
    Require(set || var == before);
    if (text.empty())
        Require(set && var == (has_default ? def : before));
    return set;
}

/// Check that a list of numbers keeps its items if the text cannot be split or is empty.
template <typename Value>
bool SetList(IfConfParser::VarType type, const std::string& text) {
    const std::vector<Value> before{1, 2};
    std::vector<Value> var = before;
    const bool set = Set<std::vector<Value>>(type, text, nullptr, &var);
    std::vector<std::string> items;
    try {
        ConfParser::SplitVector(text, items, ',');
    } catch (const std::invalid_argument&) {
        Require(!set && var == before);
        return set;
    }
    if (items.empty())
        Require(set && var == before);
    else
        Require(set ? var.size() == items.size() : var.size() < items.size());
    return set;
}

bool SetStrings(IfConfParser::VarType type, const std::string& text) {
    std::vector<std::string> var{"before"};
    std::vector<std::string> items;
    const bool set = Set<std::vector<std::string>>(type, text, nullptr, &var);
    try {
        ConfParser::SplitVector(text, items, ',');
    } catch (const std::invalid_argument&) {
        Require(!set);
    }
    Require(var == items);
    return set;
}

bool SetText(IfConfParser::VarType type, const std::string& text) {
    std::string var = "before";
    Require(Set<std::string>(type, text, nullptr, &var));
    std::string expected = text;
    if (type == IfConfParser::VT_STRING)
        ConfParser::TrimString(expected);
    Require(var == expected);
    return true;
}

bool SetObject(IfConfParser::VarType type, const std::string& text) {
    TextObject var;
    const bool set = Set<TextObject>(type, text, nullptr, &var);
    Require(var.GetDescription() == text && set == (text.size() % 2 == 0));
    return set;
}

bool SetVariable(IfConfParser::VarType type, const std::string& text, bool has_default) {
    switch (type) {
    case IfConfParser::VT_INT:
    case IfConfParser::VT_TIME:
        return SetOne<int>(type, text, has_default);
    case IfConfParser::VT_BOOL:
        return SetOne<bool>(type, text, has_default);
    case IfConfParser::VT_SIZE:
        return SetOne<long long>(type, text, has_default);
    case IfConfParser::VT_STRING:
    case IfConfParser::VT_RAW_STRING:
        return SetText(type, text);
    case IfConfParser::VT_STRING_LIST:
        return SetStrings(type, text);
    case IfConfParser::VT_INT_LIST:
    case IfConfParser::VT_TIME_LIST:
        return SetList<int>(type, text);
    case IfConfParser::VT_SIZE_LIST:
        return SetList<long long>(type, text);
    case IfConfParser::VT_OBJECT:
    case IfConfParser::VT_OBJECT_ALT:
        return SetObject(type, text);
    case IfConfParser::VT_UNSET:
        break;
    }
    int var = 1;
    Require(!Set<int>(type, text, nullptr, &var) && var == 1);
    return false;
}

} // namespace

// A logger that counts.
struct LogClass::State {};

LogClass::LogClass(const std::string&) {}
bool LogClass::isDebugEnabled() const {
    return true;
}
bool LogClass::isWarnEnabled() const {
    return true;
}
bool LogClass::isErrorEnabled() const {
    return true;
}
void LogClass::forcedLog(log4cxx::Level::LevelEnum level, const char* text) const {
    Require(text[0] != '\0');
    ++g_lines[level];
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2)
        return 0;
    const std::string text(data + 2, data + size);
    for (int& lines : g_lines)
        lines = 0;
    const bool set =
        SetVariable(static_cast<IfConfParser::VarType>(data[0]), text, (data[1] & 1) != 0);
    // A failure logs one reason, a success none.
    Require(g_lines[log4cxx::Level::LEVEL_DEBUG] == 1);
    Require(g_lines[log4cxx::Level::LEVEL_WARN] == (set ? 0 : 1));
    Require(g_lines[log4cxx::Level::LEVEL_ERROR] == 0);
    return 0;
}
