// SPDX-License-Identifier: MIT
#pragma once

#include "tools/kwlookupd/doors/DoorConfig.h"
#include "tools/kwlookupd/doors/Reply.h"
#include "tools/kwlookupd/status/ListState.h"
#include "tools/kwlookupd/status/PluginStates.h"

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <deque>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace kwlookup {

enum class ReloadResult {
    Swapped,   ///< the new list answers
    Unchanged, ///< the new list was the same
    Refused,   ///< the new list was too small
    Failed     ///< the new list could not be loaded
};

/// Counts what the daemon does, for monitoring and the status page.
///
/// Each thread that answers clients counts in memory of its own, and readers add it up, so that
/// counting costs a few nanoseconds and no thread waits for another.
class Metrics {
public:
    /// How often to call Sample().
    static constexpr std::chrono::seconds SAMPLE_PERIOD{10};

    struct Counts {
        std::uint64_t found = 0;
        std::uint64_t not_found = 0;
        std::uint64_t unavailable = 0;
    };
    /// What a door did between two calls of Sample().
    struct DoorSample {
        std::uint64_t requests = 0;
        std::uint64_t unavailable = 0;
        std::uint64_t median =
            0; ///< latency in nanoseconds, as exact as the histogram; 0 without requests
        std::uint64_t slowest = 0; ///< that 99 % of the requests did not exceed
    };
    struct Sample {
        double seconds = 0; ///< the time that it covers
        std::vector<DoorSample> doors;
        std::vector<std::uint64_t> unavailable; ///< for each list
    };
    /// The latest answer of a list that it could not be asked.
    struct Fault {
        std::time_t time = 0; ///< 0 if there was none
        std::string reason;
    };

    /// Counts for doors and lists by their numbers in the configuration, in `threads` threads.
    Metrics(const std::vector<DoorConfig>& doors, std::vector<std::string> lists,
            std::size_t threads);

    // For the thread of the number `thread` only.

    /// Counts a request that was answered. `list` is the one that answered.
    void Count(std::size_t thread, std::size_t door, std::size_t list, Outcome outcome) noexcept;
    /// Counts the time that each of `count` such requests took.
    void CountTimes(std::size_t thread, std::size_t door, std::uint64_t nanoseconds,
                    std::uint64_t count) noexcept;
    /// Counts a connection that was opened (1) or closed (-1).
    void CountConnection(std::size_t thread, std::size_t door, int change) noexcept;
    /// Counts a connection that was closed at once, because the client may not ask.
    void CountRefused(std::size_t thread, std::size_t door) noexcept;

    // For any thread.

    void CountReload(std::size_t list, ReloadResult result) noexcept;
    /// Keeps the reason why a list could not be asked. Keeps one a second and never waits, so that
    /// it can be called for each of many such answers.
    void NoteFault(std::size_t list, std::string_view reason) noexcept;
    /// Adds to the history what was counted since the last call. `now` is the time of the call.
    void TakeSample(std::chrono::steady_clock::time_point now);

    /// Returns the samples of the last hour, the oldest first.
    std::vector<Sample> GetHistory() const;
    Counts GetDoorCounts(std::size_t door) const;
    Counts GetListCounts(std::size_t list) const;
    std::uint64_t GetConnections(std::size_t door) const;
    Fault GetFault(std::size_t list) const;

    /// Returns all in the text format of Prometheus. `lists` has the state of each list, `now` is
    /// the time from which ages count.
    std::string ToPrometheus(const std::vector<ListState>& lists, std::time_t now,
                             const PluginStates& plugins = {}) const;

private:
    static constexpr std::size_t OUTCOMES = 3;
    static constexpr std::size_t BUCKETS = 22;
    static constexpr std::size_t RESULTS = 4;

    /// Has one writer, so that it need not be locked.
    class Counter {
    public:
        void Add(std::uint64_t number) {
            m_number.store(Get() + number, std::memory_order_relaxed);
        }
        std::uint64_t Get() const { return m_number.load(std::memory_order_relaxed); }

    private:
        std::atomic<std::uint64_t> m_number{0};
    };
    struct DoorCounters {
        std::array<Counter, BUCKETS> latencies; ///< not cumulative
        Counter nanoseconds, open, opened, refused;
    };
    struct ThreadCounters {
        ThreadCounters(std::size_t doors, std::size_t lists);
        std::vector<DoorCounters> doors;
        std::vector<std::array<Counter, OUTCOMES>> outcomes; ///< for each door, for each list
    };
    using Histogram = std::array<std::uint64_t, BUCKETS>;
    struct DoorTotals {
        Histogram latencies{};
        std::uint64_t unavailable = 0;
    };

    template <typename Get>
    std::uint64_t Sum(std::size_t door, Get get) const {
        std::uint64_t sum = 0;
        for (const ThreadCounters& thread : m_threads)
            sum += get(thread.doors[door]);
        return sum;
    }
    std::uint64_t GetCount(std::size_t door, std::size_t list, std::size_t outcome) const;
    Histogram GetLatencies(std::size_t door) const;

    const std::vector<DoorConfig> m_doors;
    const std::vector<std::string> m_lists;
    std::vector<ThreadCounters> m_threads;
    std::vector<std::array<std::atomic<std::uint64_t>, RESULTS>> m_reloads; ///< for each list

    mutable std::mutex m_history_lock;
    std::deque<Sample> m_history;
    std::chrono::steady_clock::time_point m_sampled;
    std::vector<DoorTotals> m_last_doors; ///< totals at the last sample
    std::vector<std::uint64_t> m_last_unavailable;

    mutable std::mutex m_fault_lock;
    std::vector<Fault> m_faults; ///< for each list
};

} // namespace kwlookup
