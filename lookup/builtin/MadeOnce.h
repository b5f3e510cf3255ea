// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <memory>

namespace kwlookup {

/// An object that is made when it is first needed, without a lock.
///
/// Threads that need it at once may each make one; the first to be ready is kept, the others go.
template <typename T>
class MadeOnce {
public:
    MadeOnce() = default;
    ~MadeOnce() { Reset(); }
    MadeOnce(const MadeOnce&) = delete;
    MadeOnce& operator=(const MadeOnce&) = delete;

    /// Null before it is made.
    const T* Get() const { return m_made.load(std::memory_order_acquire); }

    /// `make` returns a std::unique_ptr<const T>. What it throws leaves the object unmade.
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

    /// Not while another thread uses it.
    void Reset() {
        const std::unique_ptr<const T> made(m_made.exchange(nullptr, std::memory_order_relaxed));
    }

private:
    mutable std::atomic<const T*> m_made{nullptr};
};

} // namespace kwlookup
