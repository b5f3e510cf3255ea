// SPDX-License-Identifier: MIT
#include "families/servers/CancelWatch.h"

#include "families/servers/PerProcess.h"
#include "families/servers/ServerFault.h"
#include "families/servers/StartThread.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <system_error>
#include <utility>

namespace kwlookup {

namespace {

/// How often a cancellation is repeated: one that comes between two calls has no effect.
constexpr std::chrono::milliseconds AGAIN{20};

/// How long the thread waits for another watch before it ends.
constexpr std::chrono::seconds IDLE{10};

} // namespace

class CancelWatch::Watcher : public std::enable_shared_from_this<Watcher> {
public:
    static std::shared_ptr<Watcher> Instance() {
        static auto& instance =
            *new PerProcess<Watcher>([] { return std::make_shared<Watcher>(); });
        return instance.Get();
    }

    std::list<Watched>::iterator Add(std::function<void()> cancel, Deadline deadline) {
        const std::lock_guard<std::mutex> lock(m_lock);
        if (!m_runs) {
            try {
                StartThread([self = shared_from_this()] { self->Run(); });
            } catch (const std::system_error& error) {
                throw ServerFault(error.what());
            }
            m_runs = true;
        } else if (deadline.GetTime() < m_wakes_at) {
            m_changed.notify_one();
        }
        m_watched.push_back({std::move(cancel), deadline.GetTime()});
        return std::prev(m_watched.end());
    }

    void Remove(std::list<Watched>::iterator watched) {
        const std::lock_guard<std::mutex> lock(m_lock);
        m_watched.erase(watched);
    }

    bool HasCancelled(std::list<Watched>::const_iterator watched) {
        const std::lock_guard<std::mutex> lock(m_lock);
        return watched->cancelled;
    }

private:
    void Run() {
        std::unique_lock<std::mutex> lock(m_lock);
        for (bool was_empty = false;;) {
            const auto now = Deadline::Clock::now();
            m_wakes_at = now + IDLE;
            for (Watched& watched : m_watched) {
                if (watched.at <= now) {
                    // Under the lock, so that what it cancels is not destroyed meanwhile.
                    watched.cancel();
                    watched.cancelled = true;
                    watched.at = now + AGAIN;
                }
                m_wakes_at = std::min(m_wakes_at, watched.at);
            }
            if (m_watched.empty() && was_empty)
                break;
            was_empty = m_watched.empty();
            m_changed.wait_until(lock, m_wakes_at);
        }
        m_runs = false;
    }

    std::mutex m_lock;
    std::condition_variable m_changed;
    std::list<Watched> m_watched;
    Deadline::Clock::time_point m_wakes_at; ///< when the thread looks again
    bool m_runs = false;
};

CancelWatch::CancelWatch(std::function<void()> cancel, Deadline deadline)
    : m_watcher(Watcher::Instance()), m_watched(m_watcher->Add(std::move(cancel), deadline)) {}

CancelWatch::~CancelWatch() {
    m_watcher->Remove(m_watched);
}

bool CancelWatch::HasCancelled() const {
    return m_watcher->HasCancelled(m_watched);
}

} // namespace kwlookup
