// SPDX-License-Identifier: MIT
#include "CompareCommand.h"

#include "ExitStatus.h"
#include "Field.h"
#include "InputLines.h"
#include "tools/lists/AskItem.h"
#include "tools/lists/Report.h"

#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

namespace kwlookup {

namespace {

/// The answer of a list: "-" for no match, "+" for a plain match, or "+ RESULT". Empty if an item
/// before the first match could not answer; the error is reported.
std::string AskList(const ItemList& list, const std::string& text, int flags, const LogClass& log,
                    const FetchedFinders& fetched, std::size_t number) {
    for (const ItemList::Item& item : list.GetItems()) {
        Answer answer;
        switch (AskItem(item, text, flags, log, answer, fetched.Get(item, number))) {
        case ItemVerdict::Match:
            return answer.result.empty() ? "+" : "+ " + answer.result;
        case ItemVerdict::Fault:
            return std::string();
        case ItemVerdict::Miss:
            break;
        }
    }
    return "-";
}

} // namespace

int RunCompareCommand(const CompareOptions& options, const LogClass& log) {
    const auto load = [&](const std::string& text) {
        ItemList list(text, log, options.checks);
        // A missing item would look like a difference.
        if (list.GetFailedCount() != 0)
            throw std::invalid_argument("the list [" + text + "] has errors: nothing is compared");
        return list;
    };
    try {
        const ItemList left = load(options.lists[0]);
        const ItemList right = load(options.lists[1]);
        InputLines lines(options.null);
        std::vector<std::string> texts(READ_AHEAD);
        std::size_t asked = 0, different = 0, unknown = 0;
        FetchedFinders fetched[2];
        const auto compare = [&](std::size_t number) {
            ++asked;
            const std::string& text = texts[number];
            const std::string answers[2] = {
                AskList(left, text, options.flags, log, fetched[0], number),
                AskList(right, text, options.flags, log, fetched[1], number)};
            if (answers[0].empty() || answers[1].empty()) {
                ++unknown;
            } else if (answers[0] != answers[1]) {
                ++different;
                const auto field = [&options](const std::string& value) {
                    std::string shown;
                    AppendField(shown, value);
                    return options.raw ? value : shown;
                };
                std::cout << field(text) << '\t' << field(answers[0]) << '\t' << field(answers[1])
                          << (options.null ? '\0' : '\n');
            }
        };
        for (std::size_t count; std::cout && (count = lines.Next(texts)) != 0;) {
            fetched[0].Fetch(left, texts.data(), count, options.flags);
            fetched[1].Fetch(right, texts.data(), count, options.flags);
            for (std::size_t i = 0; i < count && std::cout; ++i)
                compare(i);
        }
        const bool all_read = lines.ReportError(log);
        std::cerr << "kwlookup: " << asked << " asked, " << different << " different";
        if (unknown != 0)
            std::cerr << ", " << unknown << " could not be answered";
        std::cerr << '\n';
        return different != 0              ? ExitStatus::NotFound
               : unknown != 0 || !all_read ? ExitStatus::Unavailable
                                           : ExitStatus::Found;
    } catch (const std::invalid_argument& error) {
        ReportError(log, error.what());
        return ExitStatus::BadList;
    }
}

} // namespace kwlookup
