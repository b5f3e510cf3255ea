// SPDX-License-Identifier: MIT
#include "ItemList.h"

#include "CollectedErrors.h"
#include "conf/ConfParser.h"

#include <algorithm>
#include <stdexcept>

namespace {

/// `item` quoted so that a list of it alone gives it back.
std::string QuoteItem(const std::string& item) {
    std::string quoted = "\"";
    for (char c : item) {
        if (c == '"' || c == '\\' || c == ',')
            quoted += '\\';
        quoted += c;
    }
    return quoted + '"';
}

} // namespace

ItemList::ItemList(const std::string& list, const LogClass& log) {
    std::vector<std::string> texts;
    try {
        ConfParser::SplitVector(list, texts, ',');
    } catch (const std::invalid_argument& error) {
        throw std::invalid_argument("the list [" + list + "] cannot be read: " + error.what());
    }
    for (std::string& text : texts) {
        auto holder = std::make_unique<KwLookupHolder>(log);
        holder->Init(QuoteItem(text));
        const bool failed = TakeCollectedErrors();
        m_items.push_back({std::move(text), std::move(holder), failed});
    }
}

std::size_t ItemList::FailedCount() const {
    return static_cast<std::size_t>(std::count_if(m_items.begin(), m_items.end(),
                                                  [](const Item& item) { return item.failed; }));
}

std::string ItemList::Item::File() const {
    std::string type, params;
    KwObjectHolder::ParseObject(text, type, params);
    if (holder->Empty() || (type != "file" && type != "rfile"))
        return std::string();
    return holder->GetObjects().front().GetDescription();
}
