// SPDX-License-Identifier: MIT
#include "families/servers/AnswerCache.h"

#include "families/servers/ServerReport.h"

#include <iterator>
#include <new>
#include <stdexcept>

namespace kwlookup {
namespace {

/// A bound for the memory of the cache: at most CacheSize times this.
constexpr std::size_t LONGEST_KEPT = 64 * 1024;
/// Answers that may be moved to the front at a time, as other searches wait for the lock.
constexpr int MOST_CHANCES = 16;
/// Must be a power of 2.
constexpr std::size_t FEWEST_BUCKETS = 16;
/// Enough for as many threads as usually search at once. A power of 2.
constexpr std::size_t TURN_BUCKETS = 64;
/// Often enough to be seen, but not so often as to fill the log.
constexpr std::chrono::minutes STALE_LOG_INTERVAL(1);

} // namespace

AnswerCache::AnswerCache(const ServerSettings& settings)
    : m_max_rows(settings.max_rows), m_size(settings.cache_size), m_found_time(settings.cache_time),
      m_missed_time(settings.negative_cache_time), m_stale_time(settings.stale_time),
      m_buckets(FEWEST_BUCKETS),
      m_index({m_buckets.data(), m_buckets.size()}, HashText{HashSeed::Random()}),
      m_turn_buckets(TURN_BUCKETS),
      m_turns({m_turn_buckets.data(), m_turn_buckets.size()}, HashText{HashSeed::Random()}) {}

AnswerCache::AnswerPtr AnswerCache::Begin(Turn& turn, Deadline deadline) {
    std::unique_lock<std::mutex> lock(m_lock);
    if (!m_index.empty()) {
        const auto now = Deadline::Clock::now();
        const Kept* const kept = Find(turn.question, now);
        if (kept && kept->fresh_until > now) {
            ServerReport::Count(ServerReport::Origin::Cache);
            return kept->answer;
        }
    }
    const auto [asking, is_first] = m_turns.insert(turn);
    if (is_first)
        return nullptr;
    if (!asking->flight)
        asking->flight = std::make_shared<Flight>();
    const std::shared_ptr<Flight> flight = asking->flight;
    if (!flight->landed.wait_until(lock, deadline.GetTime(), [&] { return flight->done; }))
        throw ServerFault("the same question, asked before, is not answered in time");
    if (!flight->answer)
        throw std::runtime_error(flight->error);
    ServerReport::Count(ServerReport::Origin::Joined);
    return flight->answer;
}

AnswerCache::AnswerPtr AnswerCache::Finish(Turn& turn, const AnswerPtr& answer) {
    ServerReport::Count(ServerReport::Origin::Server);
    const std::lock_guard<std::mutex> lock(m_lock);
    Land(turn, answer, "");
    try {
        Keep(turn.question, answer);
    } catch (const std::bad_alloc&) {
        // Without memory for the cache, it is still an answer.
    }
    return answer;
}

AnswerCache::AnswerPtr AnswerCache::StandIn(Turn& turn, const char* reason) {
    const std::lock_guard<std::mutex> lock(m_lock);
    const Kept* const kept = Find(turn.question, Deadline::Clock::now());
    AnswerPtr stale = kept ? kept->answer : nullptr;
    Land(turn, stale, reason);
    if (stale) {
        ServerReport::Count(ServerReport::Origin::Stale);
        m_stale_reason = reason;
    }
    return stale;
}

void AnswerCache::Fail(Turn& turn, const char* reason) {
    const std::lock_guard<std::mutex> lock(m_lock);
    Land(turn, nullptr, reason);
}

std::string AnswerCache::TakeStaleReason(Deadline::Clock::time_point now) {
    if (m_stale_time.count() == 0)
        return {};
    const std::lock_guard<std::mutex> lock(m_lock);
    if (m_stale_reason.empty() || now < m_stale_told)
        return {};
    m_stale_told = now + STALE_LOG_INTERVAL;
    return std::exchange(m_stale_reason, {});
}

const AnswerCache::Kept* AnswerCache::Find(const std::string& question,
                                           Deadline::Clock::time_point now) {
    const auto found = m_index.find(question);
    if (found == m_index.end())
        return nullptr;
    if (found->kept_until <= now) {
        Forget(found);
        return nullptr;
    }
    found->used = true;
    return &*found;
}

void AnswerCache::Forget(Index::iterator entry) {
    const auto kept = entry->self;
    m_index.erase(entry);
    m_kept.erase(kept);
}

void AnswerCache::Keep(const std::string& question, const AnswerPtr& answer) {
    if (!m_index.empty()) {
        const auto old = m_index.find(question);
        if (old != m_index.end())
            Forget(old);
    }
    const auto fresh = answer->IsFound() ? m_found_time : m_missed_time;
    if ((fresh + m_stale_time).count() == 0 ||
        question.size() + answer->GetResult().size() > LONGEST_KEPT)
        return;
    MakeRoom();
    Kept& kept = m_kept.emplace_front(question, answer);
    kept.fresh_until = Deadline::Clock::now() + fresh;
    kept.kept_until = kept.fresh_until + m_stale_time;
    kept.self = m_kept.begin();
    m_index.insert(kept);
}

void AnswerCache::MakeRoom() {
    int chances = MOST_CHANCES;
    while (m_kept.size() >= m_size) {
        if (chances-- > 0 && std::exchange(m_kept.back().used, false))
            m_kept.splice(m_kept.begin(), m_kept, std::prev(m_kept.end()));
        else
            Forget(m_index.iterator_to(m_kept.back()));
    }
    if (m_kept.size() < m_buckets.size())
        return;
    std::vector<Index::bucket_type> more(2 * m_buckets.size());
    m_index.rehash({more.data(), more.size()});
    m_buckets.swap(more);
}

void AnswerCache::Land(Turn& turn, AnswerPtr answer, const char* error) noexcept {
    m_turns.erase(m_turns.iterator_to(turn));
    const std::shared_ptr<Flight>& flight = turn.flight;
    if (!flight)
        return;
    flight->answer = std::move(answer);
    try {
        flight->error = error;
    } catch (const std::bad_alloc&) {
        // Without memory for the reason, the waiting searches must still go on.
    }
    flight->done = true;
    flight->landed.notify_all();
}

} // namespace kwlookup
