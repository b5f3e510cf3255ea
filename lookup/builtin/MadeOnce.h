// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <memory>

namespace kwlookup {

/// An object that is made without a lock when it is first needed.
///
/// Threads that need it at the same time may each make one. The first one is kept, the others are
/// destroyed.
template <typename T>
class MadeOnce {
public:
    MadeOnce() = default;
    ~MadeOnce() { Reset(); }
    MadeOnce(const MadeOnce&) = delete;
    MadeOnce& operator=(const MadeOnce&) = delete;

    /// Returns the object, or null before it is made.
    const T* Get() const { return m_made.load(std::memory_order_acquire); }

    /// Returns the object, made by `make` if necessary. `make` returns a std::unique_ptr<const T>.
    /// Its exceptions pass through, and the object is then not made.
    template <typename Make>
    const T& GetOrMake(const Make& make) const {
        if (const T* made = Get())
            return *made;
        std::unique_ptr<const T> own = make();
        const T* made = nullptr;
        if (m_made.compare_exchange_strong(made, own.get(), std::memory_order_acq_rel,
                                           std::memory_order_acquire))
            return *own.release();
        return *made;
    }

    /// Destroys the object. No other thread may use it meanwhile.
    void Reset() {
        const std::unique_ptr<const T> made(m_made.exchange(nullptr, std::memory_order_relaxed));
    }

private:
    mutable std::atomic<const T*> m_made{nullptr};
};

} // namespace kwlookup
