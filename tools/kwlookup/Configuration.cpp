// SPDX-License-Identifier: MIT
#include "Configuration.h"

#include "conf/ConfParser.h"
#include "objects/KwObjectHolder.h"
#include "tools/lists/Plugin.h"
#include "tools/lists/Report.h"

#include <boost/algorithm/string/predicate.hpp>
#include <boost/make_shared.hpp>

#include <locale>
#include <stdexcept>
#include <vector>

namespace kwlookup {

Configuration::Configuration(const std::string& file_name, const LogClass& log)
    : m_file_name(file_name), m_log(log), m_loader(boost::make_shared<ConfFileLoader>()) {
    KwObjectHolder::SetConfLoader(m_loader);
}

bool Configuration::Read() {
    if (!HasFile())
        return true;
    try {
        ConfFile file(m_file_name);
        for (const std::string& error : file.GetErrors())
            ReportError(m_log, error);
        for (const std::string& warning : file.GetWarnings())
            ReportWarning(m_log, warning);
        if (!file.GetErrors().empty() || !UseOwnSection(file))
            return false;
        m_loader->SetFile(std::move(file));
        return true;
    } catch (const std::runtime_error& error) {
        ReportError(m_log, error.what());
        return false;
    }
}

bool Configuration::UseOwnSection(const ConfFile& file) const {
    const auto own = file.GetSections().find(OWN_SECTION);
    if (own == file.GetSections().end())
        return true;
    std::vector<std::string> types;
    for (const ConfFile::Setting& setting : own->second.settings) {
        std::string reason;
        if (!boost::algorithm::iequals(setting.key, "Types", std::locale::classic()))
            reason = "unknown key '" + setting.key + "' in [" + OWN_SECTION + "]";
        else
            ConfParser::SplitVector(setting.value, types, ',');
        for (const std::string& type : types)
            if (reason.empty())
                reason = WhyNoTypeName(type);
        if (!reason.empty()) {
            ReportError(m_log, file.Place(setting.line) + reason);
            return false;
        }
    }
    for (const std::string& type : types)
        RegisterType(type);
    return true;
}

void Configuration::WarnOfUnknownSections(Warnings::Mode mode) const {
    Warnings warnings(mode, m_log);
    for (const auto& [name, section] : GetFile().GetSections())
        if (name != OWN_SECTION && PluginTypeOf(name).empty())
            warnings.Report(GetFile().Place(section.line) + "[" + name +
                            "]: no plug-in type has this section");
}

} // namespace kwlookup
