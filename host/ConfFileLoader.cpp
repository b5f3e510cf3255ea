// SPDX-License-Identifier: MIT
#include "host/ConfFileLoader.h"

#include "conf/ConfParser.h"
#include "host/InterfaceConfHolder.h"
#include "host/LogText.h"
#include "text/LocaleBytes.h"

#include <boost/make_shared.hpp>

#include <algorithm>
#include <exception>

namespace {

/// Takes the registrations of a plug-in, and sets its variables.
class SectionParser : public IfConfParser {
public:
    explicit SectionParser(const LogClass& log)
        : m_silent_log(""), m_loud(log), m_silent(m_silent_log) {}

    void Add(const std::string& name, void* var, VarType type, const void* def) override {
        m_loud.Add(name, var, type, def);
        m_silent.Add(name, var, type, def);
        m_variables.push_back({name, var, type, def});
    }

    bool Knows(const std::string& name) const {
        const LocaleBytes& bytes = LocaleBytes::Current();
        return std::any_of(m_variables.begin(), m_variables.end(), [&](const Variable& variable) {
            return bytes.EqualNoCase(variable.name, name);
        });
    }

    /// Gives every variable its default, or else what an empty text makes of it.
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

    /// False when the value is bad. The parser tells why, unless the value is secret.
    bool Set(const std::string& name, const ConfFile::Setting& setting) {
        return (setting.secret ? m_silent : m_loud).SetNewVal(name, setting.value);
    }

private:
    struct Variable {
        std::string name;
        void* var;
        VarType type;
        const void* def;
    };

    LogClass m_silent_log;
    ConfParser m_loud;
    ConfParser m_silent;
    std::vector<Variable> m_variables;
};

/// `text` with stars for what the secret settings say.
std::string WithoutSecrets(std::string text, const std::vector<ConfFile::Setting>& settings) {
    for (const ConfFile::Setting& setting : settings) {
        std::string secret = setting.secret ? setting.value : std::string();
        // The variable may have the text without its quotes.
        ConfParser::TrimString(secret);
        if (secret.empty())
            continue;
        for (std::size_t at = 0; (at = text.find(secret, at)) != std::string::npos; at += 3)
            text.replace(at, secret.size(), "***");
    }
    return text;
}

void TellError(const LogClass& log, const std::string& text) {
    if (log.isErrorEnabled())
        LogText(log, log4cxx::Level::LEVEL_ERROR, text);
}

} // namespace

std::string ConfFileLoader::GetDescription() const {
    return m_file.Name();
}

bool ConfFileLoader::LoadSection(int, const std::string& section, int, const std::string&, int,
                                 InterfaceConfHolder* holder, const LogClass& log) {
    const auto parser = boost::make_shared<SectionParser>(log);
    if (!holder->MakePreInit(parser))
        return false;
    parser->SetDefaults();
    bool good = true;
    const auto found = m_file.Sections().find(section);
    static const std::vector<ConfFile::Setting> none;
    const auto& settings = found == m_file.Sections().end() ? none : found->second.settings;
    for (const ConfFile::Setting& setting : settings) {
        const std::string name = section + "/" + setting.key;
        const char* wrong = !parser->Knows(name)          ? "unknown key '"
                            : !parser->Set(name, setting) ? "bad value for '"
                                                          : nullptr;
        if (!wrong)
            continue;
        TellError(log, m_file.Place(setting.line) + wrong + setting.key + "' in [" + section + "]");
        good = false;
    }
    if (!good)
        return false;
    try {
        holder->PostInit();
    } catch (const std::exception& error) {
        TellError(log,
                  m_file.Name() + ": [" + section + "]: " + WithoutSecrets(error.what(), settings));
        return false;
    }
    return true;
}
