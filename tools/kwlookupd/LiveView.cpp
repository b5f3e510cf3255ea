// SPDX-License-Identifier: MIT
#include "tools/kwlookupd/LiveView.h"

#include "lookup/PluginFigures.h"
#include "text/LocaleBytes.h"
#include "tools/lists/Report.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <functional>
#include <new>
#include <utility>

namespace kwlookup {

namespace {

std::vector<std::string> NamesOf(const ListKeeper& lists) {
    std::vector<std::string> names;
    for (std::size_t i = 0; i < lists.GetCount(); ++i)
        names.push_back(lists.GetSettings(i).name);
    return names;
}

/// Appends a stored value as a line: its key, and its result after a blank.
void AppendLine(std::string_view value, std::string& text) {
    const LocaleBytes& bytes = LocaleBytes::Current();
    const char* begin = value.data();
    const char* end = begin + value.size();
    bytes.Trim(begin, end);
    const char* const key_end = bytes.FindSpace(begin, end);
    text.append(begin, key_end);
    const char* result = key_end;
    bytes.Trim(result, end);
    if (result != end)
        text.append(1, ' ').append(result, end);
    text += '\n';
}

std::string EtagOf(const std::string& text) {
    char etag[64];
    std::snprintf(etag, sizeof(etag), "\"%zx-%zx\"", std::hash<std::string>()(text), text.size());
    return etag;
}

std::shared_ptr<DaemonView::WholeList> MakeWhole(const ListGeneration& list) {
    auto whole = std::make_shared<DaemonView::WholeList>();
    const std::vector<ItemList::Item>& items = list.GetItems().GetItems();
    const auto plugin = std::find_if(items.begin(), items.end(),
                                     [](const ItemList::Item& item) { return item.IsPlugin(); });
    if (plugin != items.end()) {
        whole->why_not = "the list cannot be given whole, because its item [" +
                         Shortened(plugin->text) + "] is neither a value nor a text file of values";
    } else {
        std::size_t size = 0;
        list.ForEachValue([&](std::string_view value) { size += value.size() + 1; });
        whole->text.reserve(size); // growing step by step would need twice as much
        list.ForEachValue([&](std::string_view value) { AppendLine(value, whole->text); });
        whole->etag = EtagOf(whole->text);
    }
    return whole;
}

} // namespace

LiveView::LiveView(std::vector<DoorConfig> doors, const ListKeeper& lists, std::size_t threads)
    : m_doors(std::move(doors)), m_lists(lists), m_metrics(m_doors, NamesOf(lists), threads),
      m_bodies(lists.GetCount()) {}

std::vector<ListState> LiveView::GetLists() const {
    std::vector<ListState> states;
    for (std::size_t i = 0; i < m_lists.GetCount(); ++i)
        states.push_back(m_lists.GetState(i));
    return states;
}

PluginStates LiveView::GetPlugins() const {
    PluginStates states;
    for (const PluginFigures::Figure& figure : PluginFigures::GetAll()) {
        if (figure.name == "server_up")
            states.servers.push_back({figure.type, figure.label, figure.value != 0});
        else if (figure.name == "answers")
            states.answers.push_back({figure.type, figure.label, figure.value});
    }
    return states;
}

std::shared_ptr<const DaemonView::WholeList> LiveView::GetWholeList(std::size_t list) const {
    const std::lock_guard<std::mutex> guard(m_lock);
    Body& body = m_bodies[list];
    if (body.whole)
        return body.whole;
    const ListKeeper::List published = body.list.lock();
    if (!published)
        return nullptr;
    const auto whole = MakeWhole(*published);
    whole->changed = body.published;
    return body.whole = whole;
}

void LiveView::NotePublished(std::size_t number, const ListKeeper::List& list) {
    std::shared_ptr<const WholeList> before;
    std::time_t published = GetTime();
    {
        const std::lock_guard<std::mutex> guard(m_lock);
        before = m_bodies[number].whole;
        if (before) // a client may compare nothing but the time, and clocks may be set back
            published = std::max(published, before->changed + 1);
        m_bodies[number].published = published;
        m_bodies[number].list = list;
    }
    if (!before)
        return;
    std::shared_ptr<WholeList> whole;
    try {
        whole = MakeWhole(*list);
        whole->changed = before->etag == whole->etag ? before->changed : published;
    } catch (const std::bad_alloc&) {
        // The next client that asks has it made.
    }
    const std::lock_guard<std::mutex> guard(m_lock);
    m_bodies[number].whole = std::move(whole);
}

} // namespace kwlookup
