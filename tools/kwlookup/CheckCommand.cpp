// SPDX-License-Identifier: MIT
#include "CheckCommand.h"

#include "ExitStatus.h"
#include "Field.h"
#include "lookup/builtin/KwVectorStrLookup.h"
#include "tools/lists/CollectedErrors.h"
#include "tools/lists/ItemList.h"
#include "tools/lists/Plugin.h"
#include "tools/lists/Report.h"

#include <iostream>
#include <stdexcept>

namespace kwlookup {

namespace {

std::string Count(std::size_t count, const char* noun) {
    return std::to_string(count) + ' ' + noun + (count == 1 ? "" : "s");
}

/// Load one section as the library does when a list first names the type.
void LoadSection(const std::string& section, const LogClass& log) {
    if (section == Configuration::OWN_SECTION)
        return; // checked when the file was read
    const std::string type = PluginTypeOf(section);
    if (type.empty())
        throw std::runtime_error("no plug-in type has this section");
    KwObjectHolder::CheckPluginConfig(type, log);
}

bool CheckConfiguration(const Configuration& configuration, const LogClass& log) {
    std::size_t failed = 0;
    const ConfFile& file = configuration.GetFile();
    for (const auto& [name, section] : file.GetSections()) {
        std::string reason;
        try {
            LoadSection(name, log);
        } catch (...) {
            reason = CaughtReason();
        }
        if (TakeCollectedErrors() && reason.empty())
            reason = "a list in it has errors";
        if (reason.empty())
            continue;
        ReportError(log, file.Place(section.line) + "[" + name + "]: " + reason);
        ++failed;
    }
    std::string line;
    AppendField(line, file.GetName());
    std::cout << line << ": " << Count(file.GetSections().size(), "section") << ", "
              << Count(failed, "error") << std::endl;
    return failed == 0;
}

bool CheckList(const std::string& list_text, const ListChecks& checks, const LogClass& log) {
    const ItemList list(list_text, log, checks);
    std::size_t objects = 0, records = 0;
    for (const ItemList::Item& item : list.GetItems()) {
        for (const KwIfLookup& lookup : item.holder->GetObjects()) {
            ++objects;
            // A plug-in may be compiled without type information.
            const auto* strings =
                item.IsPlugin() ? nullptr : dynamic_cast<const KwVectorStrLookup*>(&lookup);
            records += strings ? strings->GetCount() : 1;
        }
    }
    const std::size_t failed = list.GetFailedCount();
    std::cout << Count(objects, "object") << ", " << Count(records, "record") << ", "
              << Count(failed, "error") << std::endl;
    return failed == 0;
}

} // namespace

int RunCheckCommand(const std::string& list, const ListChecks& checks,
                    const Configuration& configuration, const LogClass& log) {
    bool good = !configuration.HasFile() || CheckConfiguration(configuration, log);
    try {
        if (!list.empty() || !configuration.HasFile())
            good &= CheckList(list, checks, log);
    } catch (const std::invalid_argument& error) {
        ReportError(log, error.what());
        good = false;
    }
    return good ? ExitStatus::Found : ExitStatus::BadList;
}

} // namespace kwlookup
