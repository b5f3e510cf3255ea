// SPDX-License-Identifier: MIT
#include "kwhost/ConfFileLoader.h"

#include "conf/ConfParser.h"
#include "conf/NumberRange.h"
#include "host/InterfaceConfHolder.h"
#include "host/LogText.h"
#include "kwlog/Logging.h"
#include "lookup/KwIfObject.h"
#include "text/LocaleBytes.h"
#include "text/Platform.h"

#include <boost/algorithm/string/find.hpp>
#include <boost/make_shared.hpp>

#include <algorithm>
#include <array>
#include <cstring>
#include <exception>
#include <functional>
#include <locale>
#include <memory>

namespace kwlookup {

/// A host's own libkwlog may lack it.
KW_WEAK void HideInMessages(const std::string& secret);

namespace {

using Restore = std::function<void()>;

template <typename T>
Restore KeepNumber(void* var) {
    // As bytes, since a variable that was never set may hold no valid value.
    std::array<unsigned char, sizeof(T)> bytes;
    std::memcpy(bytes.data(), var, sizeof(T));
    return [var, bytes] { std::memcpy(var, bytes.data(), sizeof(T)); };
}

template <typename T>
Restore KeepCopy(void* var) {
    T* const value = static_cast<T*>(var);
    return [value, copy = *value] { *value = copy; };
}

/// Returns a function that restores the current value of a variable.
Restore Keep(void* var, IfConfParser::VarType type) {
    switch (type) {
    case IfConfParser::VT_INT:
    case IfConfParser::VT_TIME:
        return KeepNumber<int>(var);
    case IfConfParser::VT_BOOL:
        return KeepNumber<bool>(var);
    case IfConfParser::VT_SIZE:
        return KeepNumber<long long>(var);
    case IfConfParser::VT_STRING:
    case IfConfParser::VT_RAW_STRING:
        return KeepCopy<std::string>(var);
    case IfConfParser::VT_STRING_LIST:
        return KeepCopy<std::vector<std::string>>(var);
    case IfConfParser::VT_INT_LIST:
    case IfConfParser::VT_TIME_LIST:
        return KeepCopy<std::vector<int>>(var);
    case IfConfParser::VT_SIZE_LIST:
        return KeepCopy<std::vector<long long>>(var);
    case IfConfParser::VT_OBJECT:
    case IfConfParser::VT_OBJECT_ALT: {
        KwIfObject* const object = static_cast<KwIfObject*>(var);
        return [object, text = object->GetDescription()] { object->Init(text); };
    }
    case IfConfParser::VT_UNSET:
        break;
    }
    return [] {};
}

/// Collects the variables that a plug-in registers, and sets them.
class SectionParser : public IfConfParser {
public:
    explicit SectionParser(const LogClass& log)
        : m_silent_log(""), m_loud(log), m_silent(m_silent_log) {}

    void Add(const std::string& name, void* var, VarType type, const void* def) override {
        m_loud.Add(name, var, type, def);
        m_silent.Add(name, var, type, def);
        m_variables.push_back({name, var, type, def, Keep(var, type)});
    }

    /// Restores the value that each variable had when it was registered.
    void RestoreAll() const noexcept {
        for (const Variable& variable : m_variables) {
            try {
                variable.restore();
            } catch (...) { // the Init() of an object, which may have failed before too
            }
        }
    }

    /// Sets each variable to its default or, without one, from an empty text.
    void SetDefaults() {
        for (const Variable& variable : m_variables) {
            const bool text = variable.type == VT_STRING || variable.type == VT_RAW_STRING;
            if (text && variable.def)
                *static_cast<std::string*>(variable.var) =
                    *static_cast<const std::string*>(variable.def);
            else
                m_silent.SetNewVal(variable.name, std::string());
        }
    }

    /// Sets the variable of the name `prefix` + key. Returns what is wrong with the setting,
    /// without its value, or an empty text. The parser logs more about a bad value, unless it is
    /// secret.
    std::string Set(const std::string& prefix, const ConfFile::Setting& setting) {
        const std::string name = prefix + setting.key;
        const LocaleBytes& bytes = LocaleBytes::Current();
        const auto variable =
            std::find_if(m_variables.begin(), m_variables.end(),
                         [&](const Variable& v) { return bytes.EqualNoCase(v.name, name); });
        if (variable == m_variables.end())
            return "unknown key '" + setting.key + "'";
        const bool object = variable->type == VT_OBJECT || variable->type == VT_OBJECT_ALT;
        if (object && setting.from_file)
            return "'" + setting.key +
                   ".file' cannot set a list, as messages show its items (write '" + setting.key +
                   " = file:NAME')";
        const std::string passed = PassedRange(variable->type, setting.value);
        if (!passed.empty())
            return "'" + setting.key + "' " + passed;
        if (!(setting.secret ? m_silent : m_loud).SetNewVal(name, setting.value))
            return "bad value for '" + setting.key + "'";
        return std::string();
    }

private:
    struct Variable {
        std::string name;
        void* var;
        VarType type;
        const void* def;
        Restore restore;
    };

    LogClass m_silent_log;
    ConfParser m_loud;
    ConfParser m_silent;
    std::vector<Variable> m_variables;
};

/// Returns the line of the setting that the message `text` names first or, if it names none, the
/// line of the section.
std::size_t LineOf(const std::string& text, const ConfFile::Section& section) {
    std::size_t line = section.line;
    auto first = text.end();
    for (const ConfFile::Setting& setting : section.settings) {
        const auto named =
            boost::algorithm::ifind_first(text, setting.key, std::locale::classic()).begin();
        if (named < first) {
            first = named;
            line = setting.line;
        }
    }
    return line;
}

/// Returns `text` with stars in place of the values of secret settings, however short.
std::string WithoutSecrets(std::string text, const std::vector<ConfFile::Setting>& settings) {
    for (const ConfFile::Setting& setting : settings) {
        std::string secret = setting.secret ? setting.value : std::string();
        // The text may show the value without its quotes.
        ConfParser::TrimString(secret);
        if (secret.empty())
            continue;
        for (std::size_t at = 0; (at = text.find(secret, at)) != std::string::npos; at += 3)
            text.replace(at, secret.size(), "***");
    }
    return text;
}

} // namespace

std::string ConfFileLoader::GetDescription() const {
    return m_file.GetName();
}

bool ConfFileLoader::LoadSection(int, const std::string& section, int, const std::string&, int,
                                 InterfaceConfHolder* holder, const LogClass& log) {
    const auto parser = boost::make_shared<SectionParser>(log);
    if (!holder->MakePreInit(parser))
        return false;
    // A plug-in type whose section has errors keeps its configuration.
    const auto restore_all = [](const SectionParser* filled) { filled->RestoreAll(); };
    std::unique_ptr<const SectionParser, decltype(restore_all)> undo(parser.get(), restore_all);
    parser->SetDefaults();
    bool good = true;
    const auto found = m_file.GetSections().find(section);
    static const ConfFile::Section none;
    const ConfFile::Section& entry = found == m_file.GetSections().end() ? none : found->second;
    for (const ConfFile::Setting& setting : entry.settings) {
        if (setting.secret && HideInMessages)
            HideInMessages(setting.value); // before the plug-in can log it
        const std::string wrong = parser->Set(section + "/", setting);
        if (wrong.empty())
            continue;
        if (log.isErrorEnabled())
            LogText(log, log4cxx::Level::LEVEL_ERROR,
                    m_file.Place(setting.line) + wrong + " in [" + section + "]");
        good = false;
    }
    if (!good)
        return false;
    try {
        holder->PostInit();
    } catch (const std::exception& error) {
        if (log.isErrorEnabled())
            LogText(log, log4cxx::Level::LEVEL_ERROR,
                    m_file.Place(LineOf(error.what(), entry)) + "[" + section +
                        "]: " + WithoutSecrets(error.what(), entry.settings));
        return false;
    }
    undo.release();
    return true;
}

} // namespace kwlookup
