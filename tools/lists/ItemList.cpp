// SPDX-License-Identifier: MIT
#include "tools/lists/ItemList.h"

#include "conf/ConfParser.h"
#include "kwlog/Logging.h"
#include "tools/lists/AskItem.h"
#include "tools/lists/CollectedErrors.h"
#include "tools/lists/FileChecks.h"
#include "tools/lists/ForeignSyntax.h"
#include "tools/lists/Hints.h"
#include "tools/lists/Report.h"

#include <algorithm>
#include <stdexcept>

namespace kwlookup {

namespace {

/// Warn if `item`, or a line of its file, is probably not read as its author intended.
void CheckItem(const ItemList::Item& item, const ListChecks& checks, Warnings& warnings,
               BoundedWarnings& items) {
    const std::string foreign = ForeignItem(item.text);
    if (!foreign.empty())
        items.Add("items in another program's syntax", "[" + item.text + "]: " + foreign);
    const std::string file = item.GetFile();
    if (item.GetType() == "rfile")
        CheckPatternFile(file, warnings);
    else if (!file.empty())
        CheckListFile(file, checks.whole_files ? FileCheck::Whole : FileCheck::Start, warnings);
}

/// Ask about any address, so that a plug-in opens its database. False if it could not answer. With
/// OnError = ignore, an error in the log shows that.
bool Open(const ItemList::Item& item, const LogClass& log) {
    constexpr char ANY_ADDRESS[] = "x@y"; // short, for plug-ins with limits, and with both parts
    Answer answer;
    const std::size_t errors = CountLoggedErrors();
    const ItemVerdict verdict = AskItem(item, ANY_ADDRESS, 0, log, answer);
    if (verdict == ItemVerdict::Fault || CountLoggedErrors() == errors)
        return verdict != ItemVerdict::Fault;
    ReportError(log, "[" + item.text + "] ignores the error above and finds nothing");
    return false;
}

} // namespace

ItemList::ItemList(const std::string& list, const LogClass& log, const ListChecks& checks) {
    std::vector<std::string> texts;
    try {
        ConfParser::SplitVector(list, texts, ',');
    } catch (const std::invalid_argument& error) {
        throw std::invalid_argument("the list [" + list + "] cannot be read: " + error.what());
    }
    Warnings warnings(checks.warnings, log);
    BoundedWarnings items(warnings, "the list");
    bool hinted = false; // one hint is enough
    for (std::string& text : texts) {
        auto holder = std::make_unique<KwLookupHolder>(log);
        Item item = {std::move(text), std::move(holder), false};
        try {
            item.holder->Init(Quoted(item.text, ','));
        } catch (...) {
            ReportError(log, "Error in init lookup [" + item.text + "]: " + CaughtReason());
            item.failed = true;
        }
        item.failed |= TakeCollectedErrors();
        if (checks.hints && item.holder->Empty() && !hinted)
            hinted = PrintHint(HintForItem(item.text));
        if (!checks.hints && item.holder->Empty())
            if (const std::string hint = HintForMissing(item.GetType()); !hint.empty())
                ReportNotice(log, hint);
        const std::size_t errors = warnings.GetErrorCount();
        if (warnings.IsWanted())
            CheckItem(item, checks, warnings, items);
        item.failed |= warnings.GetErrorCount() != errors;
        if (checks.open && item.IsPlugin() && !item.holder->Empty())
            item.failed |= !Open(item, log);
        m_items.push_back(std::move(item));
    }
}

std::size_t ItemList::GetFailedCount() const {
    return static_cast<std::size_t>(std::count_if(m_items.begin(), m_items.end(),
                                                  [](const Item& item) { return item.failed; }));
}

bool ItemList::HasPlugins() const {
    return std::any_of(m_items.begin(), m_items.end(),
                       [](const Item& item) { return item.IsPlugin(); });
}

std::string ItemList::Item::GetType() const {
    std::string type, params;
    KwObjectHolder::ParseObject(text, type, params);
    return type;
}

bool ItemList::Item::IsPlugin() const {
    const std::string type = GetType();
    return !type.empty() && type != "file";
}

std::string ItemList::Item::GetFile() const {
    const std::string type = GetType();
    if (holder->Empty() || (type != "file" && type != "rfile"))
        return std::string();
    return holder->GetObjects().front().GetDescription();
}

} // namespace kwlookup
