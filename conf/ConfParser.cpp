// SPDX-License-Identifier: MIT
#include "conf/ConfParser.h"

#include "host/LogText.h"
#include "lookup/KwIfObject.h" // The bare interface: an object variable is called through it.
#include "text/LocaleBytes.h"

#include <array>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <exception>
#include <map>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace {

using namespace kwlookup;

/// Returns the text between `begin` and `end` without white space at its ends, and then without
/// one pair of quotes around it.
std::string MakeItem(const char* begin, const char* end, const LocaleBytes& bytes) {
    bytes.Trim(begin, end);
    if (end - begin >= 2 && *begin == '"' && end[-1] == '"') {
        ++begin;
        --end;
    }
    return std::string(begin, end);
}

/// Reads a strict decimal number in the range of Integer: an optional sign and digits. Sets `*out`
/// only on success.
template <typename Integer>
bool ParseDecimal(std::string_view text, Integer* out) {
    if (!text.empty() && text[0] == '+') {
        text.remove_prefix(1);
        if (!text.empty() && text[0] == '-')
            return false;
    }
    Integer number = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || stop != end)
        return false;
    *out = number;
    return true;
}

/// Reads a number without a minus sign, times the unit that its last letter names. Wraps like
/// Unsigned.
template <typename Integer, typename Unsigned, typename UnitOf>
bool ParseWithUnit(const std::string& value, UnitOf unit_of, Integer* out) {
    std::string_view number(value);
    Unsigned unit = 0;
    if (!number.empty())
        unit = unit_of(number.back());
    if (unit != 0)
        number.remove_suffix(1);
    else
        unit = 1;
    Integer parsed = 0;
    if (number.empty() || number[0] == '-' || !ParseDecimal(number, &parsed))
        return false;
    *out = static_cast<Integer>(static_cast<Unsigned>(parsed) * unit);
    return true;
}

std::uint32_t TimeUnit(char letter) {
    switch (letter) {
    case 'd':
    case 'D':
        return 86400;
    case 'h':
    case 'H':
        return 3600;
    case 'm':
    case 'M':
        return 60;
    case 's':
    case 'S':
        return 1;
    default:
        return 0;
    }
}

std::uint64_t SizeUnit(char letter) {
    switch (letter) {
    case 'b':
    case 'B':
        return 1;
    case 'k':
    case 'K':
        return 1024;
    case 'm':
    case 'M':
        return 1048576;
    case 'g':
    case 'G':
        return 1073741824;
    default:
        return 0;
    }
}

bool IsHexDigit(char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

void WarnUnrecognized(const LogClass& log, const std::string& value, const char* radix) {
    if (log.isWarnEnabled())
        LogText(log, log4cxx::Level::LEVEL_WARN,
                std::string("Can not recognize ") + radix + " value in [" + value + "]");
}

void WarnWrongValue(const LogClass& log, const std::string& name, const std::string& value,
                    const char* kind) {
    if (!name.empty() && log.isWarnEnabled())
        LogText(log, log4cxx::Level::LEVEL_WARN,
                "Wrong value [" + value + "] in " + kind + " variable " + name);
}

} // namespace

void ConfParser::TrimString(std::string& s) {
    if (s.size() < 2 || s.front() != '"' || s.back() != '"')
        return;
    s.pop_back();
    s.erase(0, 1);
}

bool ConfParser::FixDir(std::string& dir) {
    if (dir.empty() || dir.back() != '/')
        dir += '/';
    return true;
}

void ConfParser::SplitVector(const std::string& value, std::vector<std::string>& out,
                             char separator) {
    out.clear();
    const LocaleBytes& bytes = LocaleBytes::Current();
    std::array<bool, 256> special{};
    for (char c : {separator, '\\', '"'})
        special[static_cast<unsigned char>(c)] = true;

    // An item is the text from `start` on. If it had an escape, `unescaped` holds the part of it
    // before `start`.
    std::string unescaped;
    const char* p = value.data();
    const char* const end = p + value.size();
    const char* start = p;
    bool quoted = false;
    bool item_has_escapes = false;
    bool ends_escaped = false;

    const auto finish_item = [&](const char* stop) {
        if (!item_has_escapes) {
            out.push_back(MakeItem(start, stop, bytes));
            return;
        }
        unescaped.append(start, stop);
        out.push_back(MakeItem(unescaped.data(), unescaped.data() + unescaped.size(), bytes));
        unescaped.clear();
        item_has_escapes = false;
    };

    for (;; ++p) {
        while (p != end && !special[static_cast<unsigned char>(*p)])
            ++p;
        if (p == end)
            break;
        if (*p == '\\') {
            const char* next = p + 1;
            ends_escaped = next == end;
            if (ends_escaped || special[static_cast<unsigned char>(*next)]) {
                unescaped.append(start, p);
                item_has_escapes = true;
                start = next;
            }
            if (ends_escaped)
                break;
            p = next;
        } else if (*p == '"') {
            quoted = !quoted;
        } else if (!quoted) {
            finish_item(p);
            start = p + 1;
        }
    }
    if (quoted)
        throw std::invalid_argument("can't find final '\"' symbol");
    if (ends_escaped)
        throw std::invalid_argument("can't find sybol after '\\'");
    if (start != end || !unescaped.empty())
        finish_item(end);
}

bool ConfParser::IsTrue(const std::string& value) {
    const LocaleBytes& bytes = LocaleBytes::Current();
    for (std::string_view word : {"yes", "on", "true"})
        if (bytes.EqualNoCase(value, word))
            return true;
    return false;
}

bool ConfParser::IsFalse(const std::string& value) {
    const LocaleBytes& bytes = LocaleBytes::Current();
    for (std::string_view word : {"no", "off", "false"})
        if (bytes.EqualNoCase(value, word))
            return true;
    return false;
}

bool ConfParser::IntParse(const std::string& name, const std::string& value, int* out,
                          const LogClass& log) {
    if (!value.empty() && value[0] == '0') {
        unsigned number = 0;
        if (value.size() >= 2 && (value[1] == 'x' || value[1] == 'X')) {
            // glibc reads "0x" without a digit as zero, but it is not a number.
            if (value.size() < 3 || !IsHexDigit(value[2]) ||
                std::sscanf(value.c_str(), "%x", &number) != 1) {
                WarnUnrecognized(log, value, "hex");
                return false;
            }
        } else if (std::sscanf(value.c_str(), "%o", &number) != 1) {
            WarnUnrecognized(log, value, "oct");
            return false;
        }
        *out = static_cast<int>(number);
        return true;
    }
    if (ParseDecimal(value, out))
        return true;
    WarnWrongValue(log, name, value, "integer");
    return false;
}

bool ConfParser::ConvertTimeValToSeconds(const std::string& name, const std::string& value,
                                         int* out, const LogClass& log) {
    if (ParseWithUnit<int, std::uint32_t>(value, TimeUnit, out))
        return true;
    WarnWrongValue(log, name, value, "time");
    return false;
}

bool ConfParser::ConvertSizeValToBytes(const std::string& name, const std::string& value,
                                       long long* out, const LogClass& log) {
    if (ParseWithUnit<long long, std::uint64_t>(value, SizeUnit, out))
        return true;
    WarnWrongValue(log, name, value, "size");
    return false;
}

namespace {

/// A setting, and the variable to store it in.
struct Setting {
    const std::string& name;
    std::string text; // A copy: the caller's text may be a part of the variable.
    void* var;
    const void* def;
    const LogClass& log;
};

template <typename Value>
using Converter = bool (*)(const std::string& name, const std::string& value, Value* out,
                           const LogClass& log);

std::string FoldName(std::string name) {
    const LocaleBytes& bytes = LocaleBytes::Current();
    for (char& c : name)
        c = bytes.Lower(c);
    return name;
}

std::string Trimmed(std::string text) {
    LocaleBytes::Current().Trim(text);
    return text;
}

void SetDefault(const Setting& setting, std::size_t size) {
    // The default may be the variable itself.
    if (setting.def != nullptr)
        std::memmove(setting.var, setting.def, size);
}

template <typename Value>
bool SetNumber(const Setting& setting, Converter<Value> convert) {
    const std::string text = Trimmed(setting.text);
    if (!text.empty())
        return convert(setting.name, text, static_cast<Value*>(setting.var), setting.log);
    SetDefault(setting, sizeof(Value));
    return true;
}

bool SetBool(const Setting& setting) {
    const std::string text = Trimmed(setting.text);
    bool& var = *static_cast<bool*>(setting.var);
    if (text.empty()) {
        SetDefault(setting, sizeof(bool));
    } else if (ConfParser::IsTrue(text)) {
        var = true;
    } else if (ConfParser::IsFalse(text)) {
        var = false;
    } else {
        if (setting.log.isWarnEnabled())
            LogText(setting.log, log4cxx::Level::LEVEL_WARN,
                    "Wrong value [" + setting.text + "] in bool variable " + setting.name);
        return false;
    }
    return true;
}

template <typename Value>
bool SetList(const Setting& setting, Converter<Value> convert) {
    std::vector<std::string> items;
    ConfParser::SplitVector(setting.text, items, ',');
    if (items.empty())
        return true;
    auto& list = *static_cast<std::vector<Value>*>(setting.var);
    list.clear();
    for (const std::string& item : items) {
        Value value = 0;
        if (!convert(setting.name, item, &value, setting.log))
            return false;
        list.push_back(value);
    }
    return true;
}

bool SetVariable(Setting&& setting, IfConfParser::VarType type) {
    switch (type) {
    case IfConfParser::VT_INT:
        return SetNumber(setting, ConfParser::IntParse);
    case IfConfParser::VT_BOOL:
        return SetBool(setting);
    case IfConfParser::VT_TIME:
        return SetNumber(setting, ConfParser::ConvertTimeValToSeconds);
    case IfConfParser::VT_SIZE:
        return SetNumber(setting, ConfParser::ConvertSizeValToBytes);
    case IfConfParser::VT_INT_LIST:
        return SetList(setting, ConfParser::IntParse);
    case IfConfParser::VT_TIME_LIST:
        return SetList(setting, ConfParser::ConvertTimeValToSeconds);
    case IfConfParser::VT_SIZE_LIST:
        return SetList(setting, ConfParser::ConvertSizeValToBytes);
    case IfConfParser::VT_STRING_LIST:
        ConfParser::SplitVector(setting.text, *static_cast<std::vector<std::string>*>(setting.var),
                                ',');
        return true;
    case IfConfParser::VT_OBJECT:
    case IfConfParser::VT_OBJECT_ALT:
        static_cast<KwIfObject*>(setting.var)->Init(setting.text);
        return true;
    case IfConfParser::VT_STRING:
        ConfParser::TrimString(setting.text);
        [[fallthrough]];
    case IfConfParser::VT_RAW_STRING:
        *static_cast<std::string*>(setting.var) = std::move(setting.text);
        return true;
    case IfConfParser::VT_UNSET:
        break;
    }
    return false;
}

} // namespace

struct ConfParser::Pimpl {
    struct VariableStore {
        void* var;
        VarType type;
        const void* def;
    };

    std::map<std::string, VariableStore> vars; // By the name in lower case.
    const LogClass* log;
};

ConfParser::ConfParser(const LogClass& log) : pimpl(new Pimpl{{}, &log}) {}

ConfParser::~ConfParser() = default;

void ConfParser::Add(const std::string& name, void* var, VarType type, const void* def) {
    pimpl->vars[FoldName(name)] = {var, type, def};
}

bool ConfParser::SetNewVal(const std::string& name, const std::string& value) {
    const LogClass& log = *pimpl->log;
    if (log.isDebugEnabled())
        LogText(log, log4cxx::Level::LEVEL_DEBUG,
                "SetNewVal: variable =[" + name + "] val=[" + value + "]");

    const auto found = pimpl->vars.find(FoldName(name));
    if (found == pimpl->vars.end()) {
        if (log.isErrorEnabled())
            LogText(log, log4cxx::Level::LEVEL_ERROR, "unknown variable name " + name);
        return false;
    }
    const auto [var, type, def] = found->second;
    if (type > VT_RAW_STRING) {
        if (log.isWarnEnabled())
            LogText(log, log4cxx::Level::LEVEL_WARN,
                    name + ": have wrong type " + std::to_string(type));
        return false;
    }
    if (type == VT_UNSET) {
        if (log.isWarnEnabled())
            LogText(log, log4cxx::Level::LEVEL_WARN,
                    "Variable " + name + " has not initialize type !?");
        return false;
    }
    try {
        return SetVariable({name, value, var, def, log}, type);
    } catch (const std::exception& e) {
        if (log.isWarnEnabled())
            LogText(log, log4cxx::Level::LEVEL_WARN, "error on variable " + name + ": " + e.what());
        return false;
    }
}
