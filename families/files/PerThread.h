// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstdint>
#include <list>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <utility>

namespace kwlookup {

/// A `T` for each thread that asks for one: what a search needs and two threads must not share, as
/// an open database. It goes with its thread, or with this object, whichever ends first.
///
/// Threads: Get() takes no lock but at the first call of a thread. No thread may be in Get(), or
/// use what it gave, when this object is destroyed.
template <typename T>
class PerThread {
public:
    PerThread() : m_store(std::make_shared<Store>()), m_id(NextId()) {}
    PerThread(const PerThread&) = delete;
    PerThread& operator=(const PerThread&) = delete;

    /// The calling thread's own; made with `T(arguments...)` when it has none.
    template <typename... Arguments>
    T& Get(Arguments&&... arguments) const {
        Known& known = ThisThread();
        if (known.last_id == m_id)
            return *known.last;
        const auto found = known.entries.find(m_id);
        if (found != known.entries.end())
            return known.Remember(m_id, *found->second.value);
        known.ForgetOld();
        std::list<T> made;
        made.emplace_back(std::forward<Arguments>(arguments)...);
        const auto value = made.begin();
        const std::lock_guard<std::mutex> lock(m_store->lock);
        // Last what may throw: an entry always has its value in the store.
        known.entries.emplace(m_id, Entry{m_store, value});
        m_store->values.splice(m_store->values.end(), made);
        return known.Remember(m_id, *value);
    }

private:
    struct Store {
        std::mutex lock;
        std::list<T> values;
    };

    struct Entry {
        std::weak_ptr<Store> store;
        typename std::list<T>::iterator value;
    };

    /// What one thread has, in all objects of this class, some of which may be gone.
    struct Known {
        std::unordered_map<std::uint64_t, Entry> entries;
        std::size_t enough = 16;   ///< when to look for what is gone; a list has fewer items
        std::uint64_t last_id = 0; ///< of the object asked last, which is often the only one
        T* last = nullptr;

        T& Remember(std::uint64_t id, T& value) {
            last_id = id;
            last = &value;
            return value;
        }

        /// Keeps the table in proportion to the objects that are there.
        void ForgetOld() {
            if (entries.size() < enough)
                return;
            for (auto entry = entries.begin(); entry != entries.end();)
                entry = entry->second.store.expired() ? entries.erase(entry) : std::next(entry);
            enough = 2 * entries.size() + 16;
        }

        ~Known() {
            for (auto& [id, entry] : entries) {
                std::list<T> gone; // destroyed without the lock
                if (const auto store = entry.store.lock()) {
                    const std::lock_guard<std::mutex> lock(store->lock);
                    gone.splice(gone.end(), store->values, entry.value);
                }
            }
        }
    };

    /// In a function of its own, or each list of argument types would have another.
    static Known& ThisThread() {
        static thread_local Known known;
        return known;
    }

    static std::uint64_t NextId() {
        static std::atomic<std::uint64_t> last{0};
        return ++last;
    }

    std::shared_ptr<Store> m_store;
    const std::uint64_t m_id;
};

} // namespace kwlookup
