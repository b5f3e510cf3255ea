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

/// A `T` for each thread that calls Get(), such as an open database, which threads must not share.
/// Each `T` is destroyed when its thread ends or when this object is destroyed.
///
/// Threads: any. Get() takes a lock only on the first call of a thread. When this object is
/// destroyed, no thread may be in Get() or use its result.
template <typename T>
class PerThread {
public:
    PerThread() : m_store(std::make_shared<Store>()), m_id(NextId()) {}
    PerThread(const PerThread&) = delete;
    PerThread& operator=(const PerThread&) = delete;

    /// The `T` of the calling thread, made by `T(arguments...)` on its first call.
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
        // After this nothing throws, so that each entry has its value in the store.
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

    /// The values of one thread, for all objects of this class. Some objects may be gone.
    struct Known {
        std::unordered_map<std::uint64_t, Entry> entries;
        std::size_t enough = 16;   ///< entries before a clean-up; more than most lists need
        std::uint64_t last_id = 0; ///< of the object used last, which is often the only one
        T* last = nullptr;

        T& Remember(std::uint64_t id, T& value) {
            last_id = id;
            last = &value;
            return value;
        }

        /// Remove the entries of objects that are gone, so that the table stays proportional to
        /// the number of objects.
        void ForgetOld() {
            if (entries.size() < enough)
                return;
            for (auto entry = entries.begin(); entry != entries.end();)
                entry = entry->second.store.expired() ? entries.erase(entry) : std::next(entry);
            enough = 2 * entries.size() + 16;
        }

        ~Known() {
            for (auto& [id, entry] : entries) {
                std::list<T> gone; // so that its destructor runs after the lock is released
                if (const auto store = entry.store.lock()) {
                    const std::lock_guard<std::mutex> lock(store->lock);
                    gone.splice(gone.end(), store->values, entry.value);
                }
            }
        }
    };

    /// Not a static of Get(), of which there is one for each list of argument types.
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
