// SPDX-License-Identifier: MIT
#include "Configuration.h"

#include "Plugin.h"
#include "Tell.h"
#include "objects/KwObjectHolder.h"

#include <boost/make_shared.hpp>

#include <stdexcept>

Configuration::Configuration(const std::string& file_name, const LogClass& log)
    : m_file_name(file_name), m_log(log), m_loader(boost::make_shared<ConfFileLoader>()) {
    KwObjectHolder::SetConfLoader(m_loader);
}

bool Configuration::Read() {
    if (!HasFile())
        return true;
    try {
        ConfFile file(m_file_name);
        for (const std::string& error : file.Errors())
            TellError(m_log, error);
        for (const std::string& warning : file.Warnings())
            TellWarning(m_log, warning);
        if (!file.Errors().empty())
            return false;
        m_loader->SetFile(std::move(file));
        return true;
    } catch (const std::runtime_error& error) {
        TellError(m_log, error.what());
        return false;
    }
}

void Configuration::TellUnknownSections(Warnings::Mode mode) const {
    Warnings warnings(mode, m_log);
    for (const auto& [name, section] : File().Sections())
        if (PluginTypeOf(name).empty())
            warnings.Tell(File().Place(section.line) + "[" + name +
                          "]: no plug-in type has this section");
}
