// SPDX-License-Identifier: MIT
#include "tools/kwlookupd/net/Workers.h"

#include "tools/kwlookupd/net/AskLists.h"

#include <algorithm>
#include <new>
#include <optional>
#include <utility>

namespace kwlookup {

Workers::Workers(std::size_t threads) : m_count(threads) {
    try {
        for (std::size_t i = 0; i < threads; ++i)
            m_threads.emplace_back(&Workers::Work, this);
    } catch (...) {
        Stop();
        throw;
    }
}

Workers::~Workers() {
    Stop();
}

void Workers::Stop() {
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        m_stopped = true;
    }
    m_added.notify_all();
    for (std::thread& thread : m_threads)
        thread.join();
}

/// Returns what a job takes time for.
Workers::Uses Workers::GetUses(const Job& job) {
    Uses uses;
    for (std::size_t i = 0; i < job.lists.size(); ++i) {
        const ListGeneration* const list = job.lists[i].get();
        if (list && (list->MayWait() || (job.query.all && list->HasPlugins())))
            uses.push_back(job.query.asks[i].list);
    }
    if (job.query.explain)
        uses.push_back(EXPLAINING);
    std::sort(uses.begin(), uses.end());
    uses.erase(std::unique(uses.begin(), uses.end()), uses.end());
    return uses;
}

/// Returns how many workers may have this use at a time.
std::size_t Workers::GetMost(std::size_t use) const {
    return std::max<std::size_t>(m_count / (use == EXPLAINING ? 4 : 2), 1);
}

bool Workers::MayBegin(const Uses& uses) const {
    return std::all_of(uses.begin(), uses.end(),
                       [this](std::size_t use) { return m_busy.find(use)->second < GetMost(use); });
}

/// Returns the queue whose first job is the next to take: the oldest that may begin, or that is too
/// late and only to be dropped.
Workers::Queues::iterator Workers::FindNext() {
    const auto now = std::chrono::steady_clock::now();
    auto next = m_queues.end();
    for (auto queue = m_queues.begin(); queue != m_queues.end(); ++queue) {
        if (queue->second.empty()) // memory ran out in Add()
            continue;
        const Waiting& first = queue->second.front();
        if ((next == m_queues.end() || first.number < next->second.front().number) &&
            (first.job.deadline <= now || MayBegin(queue->first)))
            next = queue;
    }
    return next;
}

bool Workers::Add(Job job) {
    const Uses uses = GetUses(job);
    std::size_t workers = m_count;
    for (const std::size_t use : uses)
        workers = std::min(workers, GetMost(use));
    bool is_added = false;
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        const auto queue = m_queues.find(uses);
        const std::size_t before = queue == m_queues.end() ? 0 : queue->second.size();
        is_added = m_waiting < MAX_WAITING * m_count && before < MAX_WAITING * workers;
        if (is_added) {
            for (const std::size_t use : uses)
                m_busy[use]; // workers must not need memory for it
            m_queues[uses].push_back({m_added_count, uses, std::move(job)});
            ++m_added_count;
            ++m_waiting;
        }
        if (FindNext() == m_queues.end())
            return is_added;
    }
    m_added.notify_one();
    return is_added;
}

void Workers::Work() {
    std::unique_lock<std::mutex> lock(m_lock);
    for (;;) {
        auto queue = m_queues.end();
        m_added.wait(lock, [&] { return m_stopped || (queue = FindNext()) != m_queues.end(); });
        if (m_stopped)
            return;
        std::optional<Waiting> taken = std::move(queue->second.front());
        const Uses uses = std::move(taken->uses);
        queue->second.pop_front();
        if (queue->second.empty())
            m_queues.erase(queue);
        --m_waiting;
        for (const std::size_t use : uses)
            ++m_busy.find(use)->second;
        if (FindNext() != m_queues.end())
            m_added.notify_one();
        lock.unlock();
        Do(taken->job);
        taken.reset(); // what it held is freed without the lock
        lock.lock();
        for (const std::size_t use : uses)
            --m_busy.find(use)->second;
    }
}

void Workers::Do(const Job& job) const {
    const auto get_list = [&](std::size_t i) { return job.lists[i].get(); };
    const auto ask_list = [&](std::size_t i) {
        *job.asked = i;
        return get_list(i);
    };
    try {
        std::vector<Reply> replies;
        if (std::chrono::steady_clock::now() >= job.deadline)
            ReportRefusal(job.query, get_list, ListGeneration::Refusal::NoWorker, 0);
        else if (AskLists(job.query, ask_list, replies, job.deadline))
            job.done(std::move(replies));
    } catch (const std::bad_alloc&) {
        // The client gets its answer at the deadline.
    }
}

} // namespace kwlookup
