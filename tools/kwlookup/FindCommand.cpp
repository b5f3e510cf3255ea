// SPDX-License-Identifier: MIT
#include "FindCommand.h"

#include "ExitStatus.h"
#include "InputBlocks.h"
#include "InputLines.h"
#include "text/Platform.h"
#include "tools/lists/AskItem.h"
#include "tools/lists/Report.h"

#include <future>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

namespace kwlookup {

namespace {

/// Ask `list` about blocks of `lines` until there are no more.
void AskBlocks(InputBlocks& blocks, InputBlocks::Block& block, const InputLines& lines,
               Asker& asker, const ItemList& list) {
    const auto write = [&](const std::string& answers) { return asker.Write(answers); };
    std::vector<std::string> texts(READ_AHEAD);
    while (blocks.Take(block)) {
        std::string_view rest = block.lines;
        while (const std::size_t count = lines.Split(rest, texts)) {
            block.count += count;
            asker.Ask(list, texts.data(), count);
        }
        blocks.Write(block, asker.TakeAnswers(), write);
    }
}

/// Answer the remaining lines in two threads, or in one if the other cannot be started.
void ShareInput(InputLines& lines, Asker& asker, const Asker::Options& options,
                const ItemList& list, const LogClass& log) {
    InputBlocks blocks(lines);
    const auto ask = [&] {
        try {
            InputBlocks::Block block;
            Asker own(options, log, [&] { return blocks.AwaitTurn(block); });
            AskBlocks(blocks, block, lines, own, list);
            return own.GetFindings();
        } catch (...) {
            blocks.Stop();
            throw;
        }
    };
    std::future<Asker::Findings> other;
    try {
        other = std::async(std::launch::async, ask);
    } catch (const std::system_error&) { // this thread does it all
    }
    asker.Add(ask());
    if (other.valid())
        asker.Add(other.get());
}

/// Answer the lines of standard input as they arrive, each block of them in one write.
void AskStandardInput(Asker& asker, const Asker::Options& options, const ItemList& list, bool null,
                      const LogClass& log) {
    InputLines lines(null);
    std::vector<std::string> texts(1024); // as many at once are worth a second thread
    // Answers gathered so far are written before those of the blocks.
    std::size_t count = 0;
    bool share = false;
    while (!share && asker.Flush() && (count = lines.Next(texts)) != 0) {
        asker.Ask(list, texts.data(), count);
        share = count == texts.size() && asker.MayShare(list);
    }
    if (share && asker.Flush())
        ShareInput(lines, asker, options, list, log);
    if (!lines.ReportError(log))
        asker.NoteFault();
}

int AskTexts(const ItemList& list, const FindOptions& options, const LogClass& log) {
    Asker asker(options.ask, log);
    if (list.GetFailedCount() != 0) {
        if (options.strict)
            return ExitStatus::BadList;
        asker.NoteFault();
    }
    for (const std::string& text : options.texts) {
        if (text == "-")
            AskStandardInput(asker, options.ask, list, options.ask.answers.null, log);
        else
            asker.Ask(list, text);
    }
    asker.Flush();
    return asker.GetStatus();
}

} // namespace

int RunFindCommand(const FindOptions& options, const LogClass& log) {
    // Not freed unless it has plug-ins, which may have connections to close: the process ends, and
    // freeing a million records takes as long as tens of thousands of searches.
    static auto& list = *new std::optional<ItemList>;
    UseHugePagesForHeap();
    try {
        list.emplace(options.list, log, options.checks);
    } catch (const std::invalid_argument& error) {
        ReportError(log, error.what());
        return options.strict ? ExitStatus::BadList : ExitStatus::Unavailable;
    }
    const int status = AskTexts(*list, options, log);
    if (list->HasPlugins())
        list.reset();
    return status;
}

int RunQueryCommand(const std::string& key, const std::string& list_text, const ListChecks& checks,
                    const LogClass& log) {
    try {
        const ItemList list(list_text, log, checks);
        Asker::Options options;
        options.answers.format = key == "-" ? AnswerWriter::Plain : AnswerWriter::Value;
        options.answers.raw = true;
        options.strict = true; // to postmap every error is a failure
        Asker asker(options, log);
        if (list.GetFailedCount() != 0)
            asker.NoteFault();
        if (key == "-")
            AskStandardInput(asker, options, list, false, log);
        else
            asker.Ask(list, key);
        asker.Flush();
        return asker.GetStatus() == ExitStatus::Found && !asker.HasFault() ? ExitStatus::Found
                                                                           : ExitStatus::NotFound;
    } catch (const std::invalid_argument& error) {
        ReportError(log, error.what());
        return ExitStatus::NotFound;
    }
}

} // namespace kwlookup
