// SPDX-License-Identifier: MIT
#pragma once

#include "host/LogClass.h"
#include "tools/kwlookupd/lists/FileStamp.h"
#include "tools/kwlookupd/lists/ListGeneration.h"
#include "tools/kwlookupd/lists/ListSettings.h"
#include "tools/kwlookupd/status/ListState.h"

#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace kwlookup {

/// Keeps the lists of the daemon: loads them, replaces them whole, and goes back to the ones
/// before.
///
/// Threads: one at a time may load and roll back; any may call the getters meanwhile.
class ListKeeper {
public:
    using List = std::shared_ptr<const ListGeneration>;

    /// How a load ended.
    struct LoadResult {
        enum Kind {
            Swapped,   ///< the new list answers
            Unchanged, ///< the same, but it has the same records
            Refused,   ///< the new list was too small
            Failed     ///< the new list could not be loaded
        };
        Kind kind;
        std::string text; ///< "+12 -3 =88041", or the reason
    };

    /// Loads nothing yet. `publish` is called with each list that is to answer from now on, in the
    /// thread that loads. Keeps the address of `log`.
    ListKeeper(std::vector<ListSettings> settings, const LogClass& log,
               std::function<void(std::size_t number, const List& list)> publish);

    /// Loads a list, in a second for 1,000,000 lines, and publishes it if it is good. The list
    /// before stays for Rollback(), unless it is the same. Unless `force` is set, a list is refused
    /// that has become empty or has shrunk by more than MaxShrink. The result is logged.
    LoadResult Load(std::size_t number, bool force);

    /// Notes that plug-ins get other settings from now on. With them a list is not the same, even
    /// if it has the same records. Threads: as for Load().
    void NoteNewSettings() { ++m_settings; }

    /// Publishes the list before the last change, and keeps the present one for the next call.
    /// Throws std::runtime_error if there is none. Cost: that of comparing them.
    LoadResult Rollback(std::size_t number);

    std::size_t GetCount() const { return m_lists.size(); }
    const ListSettings& GetSettings(std::size_t number) const { return m_lists[number].settings; }
    /// Returns the number of the list with this name. Throws std::runtime_error if there is none.
    std::size_t GetNumber(const std::string& name) const;
    /// Returns the list that answers, or null.
    List GetList(std::size_t number) const;
    ListState GetState(std::size_t number) const;
    /// True if the last load failed, and no rollback came after it. One that was refused has not
    /// failed.
    bool HasFailed(std::size_t number) const;
    /// Returns the files of a list as they were when it was last loaded, or could not be loaded.
    std::vector<FileStamp> GetFiles(std::size_t number) const;

private:
    struct Loaded {
        List list;
        std::size_t settings = 0; ///< of plug-ins: the value of m_settings
    };
    struct Served {
        ListSettings settings;
        Loaded current;
        Loaded previous;
        ListGeneration::Change change; ///< from the list that `current` replaced
        bool rolled_back = false;
        std::size_t generation = 0;
        std::string fault;
        bool failed = false;
        std::vector<FileStamp> files;
    };

    LoadResult Fail(std::size_t number, LoadResult::Kind kind, const std::string& reason,
                    std::vector<FileStamp> files);

    const LogClass& m_log;
    const std::function<void(std::size_t, const List&)> m_publish;
    std::size_t m_settings = 0; ///< how often plug-ins have got other settings
    mutable std::mutex m_lock;  ///< for the members of Served but the settings
    std::vector<Served> m_lists;
};

} // namespace kwlookup
