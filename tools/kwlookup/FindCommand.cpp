// SPDX-License-Identifier: MIT
#include "FindCommand.h"

#include "ExitStatus.h"
#include "InputLines.h"
#include "Tell.h"

#include <optional>
#include <stdexcept>

namespace {

/// Answers the lines of standard input as they come.
void AskStandardInput(Asker& asker, const ItemList& list, const LogClass& log) {
    InputLines lines;
    std::string text;
    while ((lines.Buffered() || asker.Flush()) && lines.Next(text))
        asker.Ask(list, text);
    if (!lines.TellError(log))
        asker.NoteFault();
}

} // namespace

int RunFindCommand(const FindOptions& options, const LogClass& log) {
    std::optional<ItemList> list;
    try {
        list.emplace(options.list, log, options.checks);
    } catch (const std::invalid_argument& error) {
        TellError(log, error.what());
        return options.strict ? EXIT_BAD_LIST : EXIT_UNAVAILABLE;
    }
    Asker asker(options.ask, log);
    if (list->FailedCount() != 0) {
        if (options.strict)
            return EXIT_BAD_LIST;
        asker.NoteFault();
    }
    for (const std::string& text : options.texts) {
        if (text == "-")
            AskStandardInput(asker, *list, log);
        else
            asker.Ask(*list, text);
    }
    asker.Flush();
    return asker.Status();
}
