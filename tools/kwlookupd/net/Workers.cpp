// SPDX-License-Identifier: MIT
#include "tools/kwlookupd/net/Workers.h"

#include "tools/kwlookupd/net/AskLists.h"

#include <new>
#include <utility>

namespace kwlookup {

Workers::Workers(std::size_t threads) {
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

bool Workers::Add(Job job) {
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        if (m_jobs.size() >= MAX_WAITING * m_threads.size())
            return false;
        m_jobs.push_back(std::move(job));
    }
    m_added.notify_one();
    return true;
}

void Workers::Work() {
    for (;;) {
        std::unique_lock<std::mutex> lock(m_lock);
        m_added.wait(lock, [this] { return m_stopped || !m_jobs.empty(); });
        if (m_stopped)
            return;
        const Job job = std::move(m_jobs.front());
        m_jobs.pop_front();
        lock.unlock();
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
}

} // namespace kwlookup
