// SPDX-License-Identifier: MIT
#include "tools/kwlookupd/lists/ListKeeper.h"

#include "kwlog/Logging.h"
#include "tools/lists/CollectedErrors.h"
#include "tools/lists/Report.h"

#include <stdexcept>
#include <utility>

namespace kwlookup {

namespace {

std::string Describe(const ListGeneration::Change& change) {
    return '+' + std::to_string(change.added) + " -" + std::to_string(change.removed) + " =" +
           std::to_string(change.kept);
}

bool IsTooSmall(std::size_t count, std::size_t before, unsigned max_shrink) {
    return before != 0 &&
           (count == 0 || (count < before && (before - count) * 100 > before * max_shrink));
}

} // namespace

ListKeeper::ListKeeper(std::vector<ListSettings> settings, const LogClass& log,
                       std::function<void(std::size_t, const List&)> publish)
    : m_log(log), m_publish(std::move(publish)) {
    for (ListSettings& each : settings) {
        m_lists.emplace_back();
        m_lists.back().settings = std::move(each);
    }
}

ListKeeper::LoadResult ListKeeper::Load(std::size_t number, bool force) {
    const ListSettings& settings = m_lists[number].settings;
    // Before the load: a change during it is a change.
    std::vector<FileStamp> files = StampFiles(settings.objects);
    const List before = GetList(number);
    List list;
    try {
        list = std::make_shared<const ListGeneration>(settings, m_log, before.get());
    } catch (...) {
        return Fail(number, LoadResult::Failed, CaughtReason(), std::move(files));
    }
    const std::size_t count = list->GetRecordCount();
    if (before && !force && IsTooSmall(count, before->GetRecordCount(), settings.max_shrink))
        return Fail(number, LoadResult::Refused,
                    "the new list has " + std::to_string(count) + " records, the old one " +
                        std::to_string(before->GetRecordCount()) + ", and MaxShrink is " +
                        std::to_string(settings.max_shrink) + " %; 'kwlookupd ctl reload " +
                        settings.name + " --force' takes it",
                    std::move(files));
    const ListGeneration::Change change = list->GetChange();
    const bool same = before && change.added == 0 && change.removed == 0;
    m_publish(number, list); // before it is kept: a load without memory for this is tried again
    Loaded oldest;           // freed without the lock
    {
        const std::lock_guard<std::mutex> guard(m_lock);
        Served& served = m_lists[number];
        oldest = std::exchange(served.current, {list, m_settings});
        if (!same || oldest.settings != m_settings)
            std::swap(oldest, served.previous);
        served.change = change;
        served.rolled_back = false;
        ++served.generation;
        served.fault.clear();
        served.failed = false;
        served.files = std::move(files);
    }
    ReportNotice(m_log, "list " + settings.name + ": loaded, " + Describe(change));
    return {same ? LoadResult::Unchanged : LoadResult::Swapped, Describe(change)};
}

ListKeeper::LoadResult ListKeeper::Rollback(std::size_t number) {
    const ListSettings& settings = m_lists[number].settings;
    List current, previous;
    {
        const std::lock_guard<std::mutex> guard(m_lock);
        current = m_lists[number].current.list;
        previous = m_lists[number].previous.list;
    }
    if (!previous)
        throw std::runtime_error("the list " + settings.name + " has no generation before");
    const ListGeneration::Change change = previous->CompareWith(current.get());
    m_publish(number, previous);
    {
        // The files stay as they are; only another change of them loads the list again.
        const std::lock_guard<std::mutex> guard(m_lock);
        Served& served = m_lists[number];
        std::swap(served.current, served.previous);
        served.change = change;
        served.rolled_back = !served.rolled_back; // the second call goes to the newest list
        ++served.generation;
        served.fault.clear();
        served.failed = false;
    }
    const std::string text = std::to_string(previous->GetRecordCount()) + " records";
    ReportNotice(m_log, "list " + settings.name + ": rolled back to " + text);
    return {LoadResult::Swapped, text};
}

std::size_t ListKeeper::GetNumber(const std::string& name) const {
    for (std::size_t i = 0; i < m_lists.size(); ++i)
        if (m_lists[i].settings.name == name)
            return i;
    throw std::runtime_error("there is no list '" + name + "'");
}

ListKeeper::List ListKeeper::GetList(std::size_t number) const {
    const std::lock_guard<std::mutex> guard(m_lock);
    return m_lists[number].current.list;
}

bool ListKeeper::HasFailed(std::size_t number) const {
    const std::lock_guard<std::mutex> guard(m_lock);
    return m_lists[number].failed;
}

std::vector<FileStamp> ListKeeper::GetFiles(std::size_t number) const {
    const std::lock_guard<std::mutex> guard(m_lock);
    return m_lists[number].files;
}

ListState ListKeeper::GetState(std::size_t number) const {
    const std::lock_guard<std::mutex> guard(m_lock);
    const Served& served = m_lists[number];
    ListState state;
    state.name = served.settings.name;
    state.generation = served.generation;
    state.fault = served.fault;
    state.rolled_back = served.rolled_back;
    if (const List& list = served.current.list) {
        state.loaded = true;
        state.records = list->GetRecordCount();
        state.load_time = list->GetLoadTime();
        state.added = served.change.added;
        state.removed = served.change.removed;
        state.kept = served.change.kept;
    }
    return state;
}

ListKeeper::LoadResult ListKeeper::Fail(std::size_t number, LoadResult::Kind kind,
                                        const std::string& reason, std::vector<FileStamp> files) {
    TakeCollectedErrors(); // those of this load are told
    const std::string text = PrintableText(WithoutSecrets(reason));
    bool loaded = false;
    {
        const std::lock_guard<std::mutex> guard(m_lock);
        Served& served = m_lists[number];
        loaded = served.current.list != nullptr;
        served.fault = text;
        served.failed = kind == LoadResult::Failed;
        served.files = std::move(files);
    }
    ReportError(m_log, "list " + m_lists[number].settings.name + ": " + reason +
                           (loaded ? "; the old list stays in use" : "; it cannot be asked"));
    return {kind, text};
}

} // namespace kwlookup
