// SPDX-License-Identifier: MIT
#pragma once

#include "host/LogClass.h"
#include "kwhost/AddressFinder.h"
#include "tools/kwlookupd/doors/Reply.h"
#include "tools/kwlookupd/lists/ListSettings.h"
#include "tools/kwlookupd/status/LogLimit.h"
#include "tools/lists/AskItem.h"
#include "tools/lists/ItemList.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <ctime>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kwlookup {

/// A list as it was loaded once. It never changes: a reload makes another one.
///
/// Threads: any number may ask at once, and no search takes a lock. Lists are made by one thread at
/// a time.
class ListGeneration {
public:
    using Time = std::chrono::steady_clock::time_point;

    /// How the records differ from those of the generation before.
    struct Change {
        std::size_t added = 0;
        std::size_t removed = 0;
        std::size_t kept = 0;
    };

    /// Loads the list, makes its indexes, and compares it with `previous`, which may be null. Keeps
    /// the address of `log`. The errors of items are logged. Throws std::runtime_error "the list
    /// has errors" when an item could not be loaded, and std::invalid_argument when the list cannot
    /// be split. Cost: for 1,000,000 lines about a second.
    ListGeneration(const ListSettings& settings, const LogClass& log,
                   const ListGeneration* previous);
    ListGeneration(const ListGeneration&) = delete;
    ListGeneration& operator=(const ListGeneration&) = delete;

    /// True when a search may wait for a server or for the lock of a database. Other searches read
    /// memory or mapped files only.
    bool MayWait() const { return m_may_wait; }
    /// True when a search asks plug-ins. Those that do not wait may still need milliseconds for it.
    bool HasPlugins() const { return m_has_plugins; }

    /// Looks for `text` and sets all of `reply` but `ask`. The empty text means the null sender,
    /// "<>". A list item that cannot answer makes the reply Unavailable, and is logged, at most
    /// once a minute. With `explain` the file of the answer is read again to find the line.
    /// After `deadline` no plug-in is asked, and the reply is Unavailable.
    void Ask(const std::string& text, bool explain, Reply& reply,
             Time deadline = Time::max()) const noexcept;

    /// A text to look for, and where the answer goes.
    struct Question {
        const std::string* text;
        Reply* reply;
    };
    /// Memory for AskAll().
    using Finders = std::array<std::optional<AddressFinder>, READ_AHEAD>;

    /// Answers each question as Ask() does without `explain`. The searches wait for memory at the
    /// same time, which is faster than one by one.
    void AskAll(const Question* questions, std::size_t count, Finders& finders) const noexcept;

    /// Why a question got no answer from this list.
    enum class Refusal { TimedOut, TooMany, NoWorker };
    /// Logs that the question for `text` got none, at most once a minute for each reason.
    void ReportRefusal(Refusal reason, const std::string& text) const;

    /// Returns the number of values, lines and patterns. The records of tables and servers are not
    /// counted.
    std::size_t GetRecordCount() const { return m_record_count; }
    const Change& GetChange() const { return m_change; }
    /// Returns how the records differ from those of `before`, which may be null. Cost: for
    /// 1,000,000 records half a second.
    Change CompareWith(const ListGeneration* before) const;
    std::time_t GetLoadTime() const { return m_load_time; }
    const ItemList& GetItems() const { return m_items; }

    /// Calls `take` for each value and line, in the order of the list.
    void ForEachValue(const std::function<void(std::string_view)>& take) const;

private:
    class Search;

    struct Entry {
        const ItemList::Item* item;
        bool is_file;
        bool is_plugin;
        bool walks; ///< ask it about the domain and its parents, too
        std::unique_ptr<LogLimit> faults, slow_answers; ///< lines about them
    };

    bool HasOneLocalPart(const std::string& address) const;
    std::string About(const std::string& text) const;
    void Ask(const std::string& text, bool explain, Search& search) const noexcept;
    bool FetchFor(const Question* questions, std::size_t count, Finders& finders) const noexcept;
    void Explain(Search& search) const;
    std::vector<std::size_t> HashRecords() const;

    const ListSettings m_settings;
    const LogClass& m_log;
    const ItemList m_items;
    const std::time_t m_load_time;
    mutable std::array<LogLimit, 3> m_refusals; ///< lines for each reason
    std::vector<Entry> m_entries;
    const Entry* m_first_file = nullptr;
    bool m_extensions_are_marked; ///< by bytes that are not plain
    bool m_may_wait = false;
    bool m_has_plugins = false;
    std::vector<std::size_t> m_rules; ///< hashes of the patterns in files
    std::size_t m_record_count = 0;
    Change m_change;
};

} // namespace kwlookup
