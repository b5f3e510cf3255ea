// SPDX-License-Identifier: MIT
#pragma once

#include "families/servers/ForkCount.h"

#include <atomic>
#include <functional>
#include <memory>
#include <utility>

namespace kwlookup {

/// A `T` of the process that asks. A child after fork(2) gets a fresh one: that of its parent may
/// hold connections that both would use, or locks of threads that the child does not have, so the
/// child neither touches nor destroys it.
///
/// Threads: Get() from any; it takes no lock.
template <typename T>
class PerProcess {
public:
    using Make = std::function<std::shared_ptr<T>()>;

    /// `make` is called by Get(), by two threads at once where they are the first.
    explicit PerProcess(Make make) : m_make(std::move(make)) {}
    PerProcess(const PerProcess&) = delete;
    PerProcess& operator=(const PerProcess&) = delete;

    ~PerProcess() {
        Made* const made = m_made.load();
        if (made && made->forks == ForkCount())
            delete made;
    }

    /// Made at the first call in this process. Throws what `make` throws. The reference holds as
    /// long as this object.
    const std::shared_ptr<T>& Get() {
        const std::uint64_t forks = ForkCount();
        Made* made = m_made.load(std::memory_order_acquire);
        while (!made || made->forks != forks) {
            auto fresh = std::make_unique<Made>(Made{forks, m_make(), made});
            if (m_made.compare_exchange_strong(made, fresh.get(), std::memory_order_acq_rel))
                made = fresh.release();
        }
        return made->value;
    }

private:
    struct Made {
        std::uint64_t forks;
        std::shared_ptr<T> value;
        Made* of_parent; ///< never freed here, and not forgotten either
    };

    const Make m_make;
    std::atomic<Made*> m_made{nullptr};
};

} // namespace kwlookup
