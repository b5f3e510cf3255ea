// SPDX-License-Identifier: MIT
#include "FindCommand.h"

#include "AskItem.h"
#include "ExitStatus.h"
#include "InputLines.h"
#include "Tell.h"

#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

/// Answers the lines of standard input as they come.
void AskStandardInput(Asker& asker, const ItemList& list, bool null, const LogClass& log) {
    InputLines lines(null);
    std::vector<std::string> texts(READ_AHEAD);
    std::size_t count = 0;
    while ((lines.Buffered() || asker.Flush()) && (count = lines.Next(texts)) != 0) {
        asker.Fetch(list, texts, count);
        for (std::size_t i = 0; i < count; ++i)
            asker.Ask(list, texts[i]);
    }
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
            AskStandardInput(asker, *list, options.ask.answers.null, log);
        else
            asker.Ask(*list, text);
    }
    asker.Flush();
    return asker.Status();
}

int RunQueryCommand(const std::string& key, const std::string& list_text, const ListChecks& checks,
                    const LogClass& log) {
    try {
        const ItemList list(list_text, log, checks);
        Asker::Options options;
        options.answers.format = key == "-" ? AnswerWriter::Plain : AnswerWriter::Value;
        options.answers.raw = true;
        options.strict = true; // to postmap every error is one
        Asker asker(options, log);
        if (list.FailedCount() != 0)
            asker.NoteFault();
        if (key == "-")
            AskStandardInput(asker, list, false, log);
        else
            asker.Ask(list, key);
        asker.Flush();
        return asker.Status() == EXIT_FOUND && !asker.HasFault() ? EXIT_FOUND : EXIT_NOT_FOUND;
    } catch (const std::invalid_argument& error) {
        TellError(log, error.what());
        return EXIT_NOT_FOUND;
    }
}
