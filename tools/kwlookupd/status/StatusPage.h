// SPDX-License-Identifier: MIT
#pragma once

#include "tools/kwlookupd/doors/DoorConfig.h"
#include "tools/kwlookupd/doors/Reply.h"
#include "tools/kwlookupd/status/ListState.h"
#include "tools/kwlookupd/status/Metrics.h"
#include "tools/kwlookupd/status/PluginStates.h"

#include <ctime>
#include <string>
#include <vector>

namespace kwlookup {

/// The page that shows an administrator the lists, the doors and their last hour, and asks lists.
///
/// It needs no script; with one it renews itself every few seconds. All of it is in one text.
/// Cost: for 10 doors well under a millisecond.
class StatusPage {
public:
    /// Keeps references to `doors` and `metrics`. `now` is the time of the page.
    StatusPage(const std::vector<DoorConfig>& doors, std::vector<ListState> lists,
               const Metrics& metrics, std::time_t now, PluginStates plugins);

    /// Offers a list in the form.
    void Offer(const std::string& list) { m_offered.push_back(list); }
    /// Shows the answer of a list to a text. `reply` is null if the list cannot be asked here.
    void ShowAnswer(const std::string& list, const std::string& text, const Reply* reply);

    std::string ToHtml() const;

    /// Returns the value of Content-Security-Policy for the page. It allows nothing but its own
    /// style, script and icon, questions to the server that it is from, and its form.
    static const char* GetSecurityPolicy();

private:
    std::string MakeSummary(const std::vector<Metrics::Sample>& history) const;
    std::string MakeForm() const;
    std::string MakeLists(const std::vector<Metrics::Sample>& history) const;
    std::string MakeServers() const;
    std::string MakeDoors(const std::vector<Metrics::Sample>& history) const;

    const std::vector<DoorConfig>& m_doors;
    const std::vector<ListState> m_lists;
    const Metrics& m_metrics;
    const std::time_t m_now;
    const PluginStates m_plugins;
    std::vector<std::string> m_offered;
    std::string m_list;   ///< chosen in the form
    std::string m_text;   ///< written in the form
    std::string m_answer; ///< HTML
};

} // namespace kwlookup
