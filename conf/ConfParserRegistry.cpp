// SPDX-License-Identifier: MIT
#include "conf/ConfParser.h"

#include "host/LogText.h"
#include "lookup/KwIfObject.h" // The bare interface: an object variable is called through it.
#include "text/LocaleBytes.h"

#include <cstddef>
#include <cstring>
#include <exception>
#include <map>
#include <utility>

namespace {

/// One setting on its way into its variable.
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
