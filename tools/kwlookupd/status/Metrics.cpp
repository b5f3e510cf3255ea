// SPDX-License-Identifier: MIT
#include "tools/kwlookupd/status/Metrics.h"

#include "tools/kwlookupd/status/Escape.h"

#include <algorithm>
#include <cstdio>
#include <numeric>

namespace kwlookup {

namespace {

struct Bound {
    std::uint64_t nanoseconds;
    const char* seconds; ///< as Prometheus writes it
};

// From lists in memory, which answer in microseconds, to servers that time out after a second or
// more. Three a decade tell a median well enough.
constexpr std::array<Bound, 21> BOUNDS{{
    {1'000, "1e-06"},       {2'000, "2e-06"},     {5'000, "5e-06"},       {10'000, "1e-05"},
    {20'000, "2e-05"},      {50'000, "5e-05"},    {100'000, "0.0001"},    {200'000, "0.0002"},
    {500'000, "0.0005"},    {1'000'000, "0.001"}, {2'000'000, "0.002"},   {5'000'000, "0.005"},
    {10'000'000, "0.01"},   {20'000'000, "0.02"}, {50'000'000, "0.05"},   {100'000'000, "0.1"},
    {200'000'000, "0.2"},   {500'000'000, "0.5"}, {1'000'000'000, "1.0"}, {2'000'000'000, "2.0"},
    {5'000'000'000, "5.0"},
}};

constexpr std::size_t HISTORY = 3600 / Metrics::SAMPLE_PERIOD.count();

constexpr const char* OUTCOME_NAMES[] = {"found", "not_found", "unavailable"};
constexpr const char* RESULT_NAMES[] = {"swapped", "unchanged", "refused", "failed"};

/// Returns the bound that the part `share` of the numbers in `histogram` does not exceed. The last
/// bucket has no bound, so it counts as the one before.
template <typename Histogram>
std::uint64_t Quantile(const Histogram& histogram, double share) {
    const auto total = std::accumulate(histogram.begin(), histogram.end(), std::uint64_t{0});
    std::uint64_t left = static_cast<std::uint64_t>(static_cast<double>(total) * share);
    for (std::size_t i = 0; total != 0 && i < BOUNDS.size(); ++i) {
        if (histogram[i] > left)
            return BOUNDS[i].nanoseconds;
        left -= histogram[i];
    }
    return total == 0 ? 0 : BOUNDS.back().nanoseconds;
}

/// Writes the text format of Prometheus.
class Exposition {
public:
    void Family(const char* name, const char* type, const char* help) {
        m_name = name;
        m_text +=
            std::string("# HELP ") + name + " " + help + "\n# TYPE " + name + " " + type + "\n";
    }
    void Line(const std::string& labels, const std::string& number, const char* suffix = "") {
        m_text += m_name + suffix;
        if (!labels.empty())
            m_text += "{" + labels + "}";
        m_text += " " + number + "\n";
    }
    void Line(const std::string& labels, std::uint64_t number, const char* suffix = "") {
        Line(labels, std::to_string(number), suffix);
    }
    std::string Take() { return std::move(m_text); }

private:
    std::string m_name;
    std::string m_text;
};

std::string Label(const char* name, std::string_view value) {
    return std::string(name) + "=\"" + EscapeLabel(value) + "\"";
}

std::string Seconds(std::uint64_t nanoseconds) {
    char text[32];
    std::snprintf(text, sizeof(text), "%llu.%09llu",
                  static_cast<unsigned long long>(nanoseconds / 1'000'000'000),
                  static_cast<unsigned long long>(nanoseconds % 1'000'000'000));
    return text;
}

/// Returns the numbers of the lists that `door` serves, each once.
std::vector<std::size_t> ListsOf(const DoorConfig& door) {
    std::vector<std::size_t> lists;
    for (const DoorConfig::List& list : door.lists)
        lists.push_back(list.number);
    for (const DoorConfig::Rule& rule : door.rules)
        lists.push_back(rule.list.number);
    std::sort(lists.begin(), lists.end());
    lists.erase(std::unique(lists.begin(), lists.end()), lists.end());
    return lists;
}

} // namespace

// The last elements of both are unused: they keep counters of two threads out of one cache line.
Metrics::ThreadCounters::ThreadCounters(std::size_t door_count, std::size_t list_count)
    : doors(door_count + 1), outcomes(door_count * list_count + 6) {}

Metrics::Metrics(const std::vector<DoorConfig>& doors, std::vector<std::string> lists,
                 std::size_t threads)
    : m_doors(doors), m_lists(std::move(lists)), m_reloads(m_lists.size()),
      m_sampled(std::chrono::steady_clock::now()), m_last_doors(doors.size()),
      m_last_unavailable(m_lists.size()), m_faults(m_lists.size()) {
    static_assert(BUCKETS == BOUNDS.size() + 1);
    m_threads.reserve(threads);
    for (std::size_t i = 0; i < threads; ++i)
        m_threads.emplace_back(m_doors.size(), m_lists.size());
}

void Metrics::Count(std::size_t thread, std::size_t door, std::size_t list,
                    Outcome outcome) noexcept {
    auto& outcomes = m_threads[thread].outcomes[door * m_lists.size() + list];
    outcomes[static_cast<std::size_t>(outcome)].Add(1);
}

void Metrics::CountTimes(std::size_t thread, std::size_t door, std::uint64_t nanoseconds,
                         std::uint64_t count) noexcept {
    DoorCounters& latency = m_threads[thread].doors[door];
    std::size_t bucket = 0; // most answers are quick
    while (bucket < BOUNDS.size() && nanoseconds > BOUNDS[bucket].nanoseconds)
        ++bucket;
    latency.latencies[bucket].Add(count);
    latency.nanoseconds.Add(nanoseconds * count);
}

void Metrics::CountConnection(std::size_t thread, std::size_t door, int change) noexcept {
    DoorCounters& counters = m_threads[thread].doors[door];
    counters.open.Add(static_cast<std::uint64_t>(change)); // unsigned numbers wrap around
    if (change > 0)
        counters.opened.Add(1);
}

void Metrics::CountRefused(std::size_t thread, std::size_t door) noexcept {
    m_threads[thread].doors[door].refused.Add(1);
}

void Metrics::CountReload(std::size_t list, ReloadResult result) noexcept {
    ++m_reloads[list][static_cast<std::size_t>(result)];
}

void Metrics::NoteFault(std::size_t list, std::string_view reason) noexcept {
    const std::time_t now = std::time(nullptr);
    const std::unique_lock lock(m_fault_lock, std::try_to_lock);
    if (!lock || m_faults[list].time == now)
        return;
    try {
        m_faults[list].reason = reason;
        m_faults[list].time = now;
    } catch (const std::exception&) {
        // Without memory for it, the last reason stays.
    }
}

void Metrics::TakeSample(std::chrono::steady_clock::time_point now) {
    const std::lock_guard lock(m_history_lock);
    Sample sample;
    sample.seconds = std::chrono::duration<double>(now - m_sampled).count();
    m_sampled = now;
    for (std::size_t i = 0; i < m_doors.size(); ++i) {
        const Histogram latencies = GetLatencies(i);
        const std::uint64_t unavailable = GetDoorCounts(i).unavailable;
        DoorTotals& last = m_last_doors[i];
        Histogram recent{};
        std::transform(latencies.begin(), latencies.end(), last.latencies.begin(), recent.begin(),
                       std::minus<>());
        DoorSample door;
        door.requests = std::accumulate(recent.begin(), recent.end(), std::uint64_t{0});
        door.unavailable = unavailable - last.unavailable;
        door.median = Quantile(recent, 0.5);
        door.slowest = Quantile(recent, 0.99);
        sample.doors.push_back(door);
        last = {latencies, unavailable};
    }
    for (std::size_t i = 0; i < m_lists.size(); ++i) {
        const std::uint64_t unavailable = GetListCounts(i).unavailable;
        sample.unavailable.push_back(unavailable - m_last_unavailable[i]);
        m_last_unavailable[i] = unavailable;
    }
    m_history.push_back(std::move(sample));
    if (m_history.size() > HISTORY)
        m_history.pop_front();
}

std::vector<Metrics::Sample> Metrics::GetHistory() const {
    const std::lock_guard lock(m_history_lock);
    return {m_history.begin(), m_history.end()};
}

std::uint64_t Metrics::GetCount(std::size_t door, std::size_t list, std::size_t outcome) const {
    std::uint64_t count = 0;
    for (const ThreadCounters& thread : m_threads)
        count += thread.outcomes[door * m_lists.size() + list][outcome].Get();
    return count;
}

Metrics::Counts Metrics::GetDoorCounts(std::size_t door) const {
    Counts counts;
    for (std::size_t list = 0; list < m_lists.size(); ++list) {
        counts.found += GetCount(door, list, 0);
        counts.not_found += GetCount(door, list, 1);
        counts.unavailable += GetCount(door, list, 2);
    }
    return counts;
}

Metrics::Counts Metrics::GetListCounts(std::size_t list) const {
    Counts counts;
    for (std::size_t door = 0; door < m_doors.size(); ++door) {
        counts.found += GetCount(door, list, 0);
        counts.not_found += GetCount(door, list, 1);
        counts.unavailable += GetCount(door, list, 2);
    }
    return counts;
}

std::uint64_t Metrics::GetConnections(std::size_t door) const {
    return Sum(door, [](const DoorCounters& c) { return c.open.Get(); });
}

Metrics::Fault Metrics::GetFault(std::size_t list) const {
    const std::lock_guard lock(m_fault_lock);
    return m_faults[list];
}

Metrics::Histogram Metrics::GetLatencies(std::size_t door) const {
    Histogram latencies{};
    for (std::size_t i = 0; i < BUCKETS; ++i)
        latencies[i] = Sum(door, [i](const DoorCounters& c) { return c.latencies[i].Get(); });
    return latencies;
}

std::string Metrics::ToPrometheus(const std::vector<ListState>& lists, std::time_t now,
                                  const PluginStates& plugins) const {
    Exposition text;
    text.Family("kwlookupd_requests_total", "counter",
                "Requests by door, by the list that answered, and by outcome.");
    for (std::size_t i = 0; i < m_doors.size(); ++i)
        for (const std::size_t list : ListsOf(m_doors[i]))
            for (std::size_t outcome = 0; outcome < OUTCOMES; ++outcome)
                text.Line(Label("door", m_doors[i].name) + "," + Label("list", m_lists[list]) +
                              "," + Label("outcome", OUTCOME_NAMES[outcome]),
                          GetCount(i, list, outcome));

    text.Family("kwlookupd_request_duration_seconds", "histogram",
                "Time from a whole request to its answer, by door.");
    for (std::size_t i = 0; i < m_doors.size(); ++i) {
        const std::string door = Label("door", m_doors[i].name);
        const std::uint64_t nanoseconds =
            Sum(i, [](const DoorCounters& c) { return c.nanoseconds.Get(); });
        const Histogram latencies = GetLatencies(i);
        std::uint64_t below = 0;
        for (std::size_t j = 0; j < BUCKETS; ++j) {
            below += latencies[j];
            const char* bound = j < BOUNDS.size() ? BOUNDS[j].seconds : "+Inf";
            text.Line(door + "," + Label("le", bound), below, "_bucket");
        }
        text.Line(door, Seconds(nanoseconds), "_sum");
        text.Line(door, below, "_count");
    }

    text.Family("kwlookupd_connections", "gauge", "Open connections by door.");
    for (std::size_t i = 0; i < m_doors.size(); ++i)
        text.Line(Label("door", m_doors[i].name), GetConnections(i));
    text.Family("kwlookupd_connections_total", "counter", "Connections that clients opened.");
    for (std::size_t i = 0; i < m_doors.size(); ++i)
        text.Line(Label("door", m_doors[i].name),
                  Sum(i, [](const DoorCounters& c) { return c.opened.Get(); }));
    text.Family("kwlookupd_connections_refused_total", "counter",
                "Connections closed at once, because the client may not ask.");
    for (std::size_t i = 0; i < m_doors.size(); ++i)
        text.Line(Label("door", m_doors[i].name),
                  Sum(i, [](const DoorCounters& c) { return c.refused.Get(); }));

    text.Family("kwlookupd_requests_refused_total", "counter",
                "Requests that could not be answered as they were, by door and reason.");
    for (const DoorConfig& door : m_doors)
        for (std::size_t reason = 0; reason < Refusals::NAMES.size(); ++reason)
            text.Line(Label("door", door.name) + "," + Label("reason", Refusals::NAMES[reason]),
                      door.refusals->GetCount(reason));

    text.Family("kwlookupd_list_loaded", "gauge", "1 if the list can be asked, else 0.");
    for (const ListState& list : lists)
        text.Line(Label("list", list.name), std::uint64_t{list.loaded});
    text.Family("kwlookupd_list_fault", "gauge",
                "1 if the last load of the list failed or was refused, else 0.");
    for (const ListState& list : lists)
        text.Line(Label("list", list.name), std::uint64_t{!list.fault.empty()});
    text.Family("kwlookupd_list_records", "gauge", "Records of the list in memory.");
    for (const ListState& list : lists)
        text.Line(Label("list", list.name), list.records);
    text.Family("kwlookupd_list_age_seconds", "gauge", "Time since the list was loaded.");
    for (const ListState& list : lists)
        if (list.loaded) // a list that is not there has no age
            text.Line(Label("list", list.name),
                      static_cast<std::uint64_t>(std::max<std::time_t>(now - list.load_time, 0)));
    text.Family("kwlookupd_reloads_total", "counter", "Reloads by list and result.");
    for (std::size_t i = 0; i < m_lists.size(); ++i)
        for (std::size_t result = 0; result < RESULTS; ++result)
            text.Line(Label("list", m_lists[i]) + "," + Label("result", RESULT_NAMES[result]),
                      m_reloads[i][result].load());

    text.Family("kwlookupd_server_up", "gauge",
                "0 if the server failed when a plug-in asked it last, else 1.");
    for (const PluginStates::Server& server : plugins.servers)
        text.Line(Label("type", server.type) + "," + Label("server", server.name),
                  std::uint64_t{server.up});
    text.Family("kwlookupd_plugin_answers_total", "counter",
                "Answers of plug-ins that ask servers, by where they came from.");
    for (const PluginStates::Answers& answers : plugins.answers)
        text.Line(Label("type", answers.type) + "," + Label("origin", answers.origin),
                  answers.count);
    return text.Take();
}

} // namespace kwlookup
