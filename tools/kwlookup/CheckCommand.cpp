// SPDX-License-Identifier: MIT
#include "CheckCommand.h"

#include "ExitStatus.h"
#include "ItemList.h"
#include "host/LogText.h"
#include "lookup/builtin/KwVectorStrLookup.h"

#include <iostream>
#include <stdexcept>

namespace {

std::string Count(std::size_t count, const char* noun) {
    return std::to_string(count) + ' ' + noun + (count == 1 ? "" : "s");
}

} // namespace

int RunCheckCommand(const std::string& list_text, const LogClass& log) {
    try {
        const ItemList list(list_text, log);
        std::size_t records = 0;
        for (const ItemList::Item& item : list.Items()) {
            for (const KwIfLookup& lookup : item.holder->GetObjects()) {
                const auto* strings = dynamic_cast<const KwVectorStrLookup*>(&lookup);
                records += strings ? strings->GetCount() : 1;
            }
        }
        const std::size_t failed = list.FailedCount();
        std::cout << Count(list.Items().size() - failed, "object") << ", "
                  << Count(records, "record") << ", " << Count(failed, "error") << std::endl;
        return failed == 0 ? EXIT_FOUND : EXIT_BAD_LIST;
    } catch (const std::invalid_argument& error) {
        LogText(log, log4cxx::Level::LEVEL_ERROR,
                "the list [" + list_text + "] cannot be read: " + error.what());
        return EXIT_BAD_LIST;
    }
}
