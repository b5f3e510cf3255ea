// SPDX-License-Identifier: MIT
#pragma once

#include "families/servers/Answer.h"
#include "families/servers/Deadline.h"
#include "families/servers/ServerFault.h"
#include "families/servers/ServerSettings.h"
#include "lookup/builtin/FoldedHash.h"

#include <boost/intrusive/unordered_set.hpp>

#include <condition_variable>
#include <exception>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kwlookup {

/// A cache of answers to questions. A match is kept for CacheTime, a miss for NegativeCacheTime.
/// Both are kept for StaleTime longer, for use while no server can be asked. Beyond CacheSize
/// answers, the least recently used ones are dropped. Faults are never kept, nor are answers of
/// more than 64 KiB together with their question.
///
/// Equal questions at the same time are asked once, even if nothing is kept.
///
/// Threads: any. A kept answer costs some 200 ns, most of it under a lock.
class AnswerCache {
public:
    using AnswerPtr = std::shared_ptr<const Answer>;

    explicit AnswerCache(const ServerSettings& settings);

    /// The answer to `question`: a kept one, that of a concurrent search with the same question, or
    /// what `ask(answer)` puts into an empty answer.
    ///
    /// Throws what `ask` throws, unless there is an old answer to use. A search that waited for
    /// another one throws std::runtime_error with the reason of that one.
    template <typename Ask>
    AnswerPtr Get(const std::string& question, Deadline deadline, Ask&& ask) {
        Turn turn(question);
        if (AnswerPtr answer = Begin(turn, deadline))
            return answer;
        try {
            const auto answer = std::make_shared<Answer>(m_max_rows);
            ask(*answer);
            return Finish(turn, answer);
        } catch (const ServerFault& fault) {
            if (AnswerPtr stale = StandIn(turn, fault.what()))
                return stale;
            throw;
        } catch (const std::exception& error) {
            Fail(turn, error.what());
            throw;
        } catch (...) {
            Fail(turn, "the search was ended");
            throw;
        }
    }

    /// Why an old answer was used, once a minute for the log; otherwise empty.
    std::string TakeStaleReason(Deadline::Clock::time_point now = Deadline::Clock::now());

private:
    /// The index links the answers themselves: to find one is to wait for memory, mostly.
    using Link = boost::intrusive::unordered_set_base_hook<boost::intrusive::store_hash<true>>;

    struct Kept : Link {
        Kept(const std::string& asked, AnswerPtr kept) : question(asked), answer(std::move(kept)) {}

        const std::string question;
        const AnswerPtr answer;
        Deadline::Clock::time_point fresh_until;
        Deadline::Clock::time_point kept_until;
        bool used = false; ///< since it came to the front
        std::list<Kept>::iterator self;
    };

    /// Somebody asks a question, and others wait for the answer.
    struct Flight {
        std::condition_variable landed;
        bool done = false;
        AnswerPtr answer; ///< null after a fault
        std::string error;
    };

    /// A search that asks; the table of those that do links it.
    struct Turn : Link {
        explicit Turn(const std::string& asked) : question(asked) {}

        const std::string& question;
        std::shared_ptr<Flight> flight; ///< null if nobody waits for the answer
    };

    template <typename T>
    struct QuestionOf {
        using type = std::string_view;
        type operator()(const T& value) const { return value.question; }
    };

    struct HashText {
        HashSeed seed;
        std::size_t operator()(std::string_view text) const {
            return static_cast<std::size_t>(Hash(AsTheyAre(), text, seed));
        }
    };

    template <typename T>
    using Table = boost::intrusive::unordered_set<T, boost::intrusive::key_of_value<QuestionOf<T>>,
                                                  boost::intrusive::hash<HashText>,
                                                  boost::intrusive::power_2_buckets<true>>;
    using Index = Table<Kept>;

    /// An answer, or null if the search has to ask. Then `turn` is linked until Land().
    AnswerPtr Begin(Turn& turn, Deadline deadline);
    AnswerPtr Finish(Turn& turn, const AnswerPtr& answer);
    AnswerPtr StandIn(Turn& turn, const char* reason);
    void Fail(Turn& turn, const char* reason);

    // Call these under the lock.
    const Kept* Find(const std::string& question, Deadline::Clock::time_point now);
    void Keep(const std::string& question, const AnswerPtr& answer);
    void Forget(Index::iterator entry);
    void MakeRoom();
    void Land(Turn& turn, AnswerPtr answer, const char* error) noexcept;

    const std::size_t m_max_rows;
    const std::size_t m_size;
    const std::chrono::milliseconds m_found_time;
    const std::chrono::milliseconds m_missed_time;
    const std::chrono::milliseconds m_stale_time;

    std::mutex m_lock;
    /// The newest first. An answer at the end that was used is moved to the front instead of being
    /// dropped: to move answers whenever they are used would cost more than to find them.
    std::list<Kept> m_kept;
    std::vector<Index::bucket_type> m_buckets;
    Index m_index;
    std::vector<Table<Turn>::bucket_type> m_turn_buckets;
    Table<Turn> m_turns; ///< what is asked now
    std::string m_stale_reason;
    Deadline::Clock::time_point m_stale_told; ///< when the next reason may be logged
};

} // namespace kwlookup
