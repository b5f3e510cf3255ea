// SPDX-License-Identifier: MIT
#pragma once

#include "families/servers/ForkCount.h"

#include <atomic>
#include <functional>
#include <memory>
#include <utility>

namespace kwlookup {

/// One `T` for each process. A child process after fork(2) makes its own. It neither uses nor
/// destroys that of its parent, which may hold connections of the parent, or locks of threads that
/// the child does not have.
///
/// Threads: any may call Get(), which takes no lock.
template <typename T>
class PerProcess {
public:
    using Make = std::function<std::shared_ptr<T>()>;

    /// `make` is called by Get(), perhaps by several threads at once on the first calls.
    explicit PerProcess(Make make) : m_make(std::move(make)) {}
    PerProcess(const PerProcess&) = delete;
    PerProcess& operator=(const PerProcess&) = delete;

    ~PerProcess() {
        Made* const made = m_made.load();
        if (made && made->forks == ForkCount())
            delete made;
    }

    /// The `T` of this process, made by the first call. Throws what `make` throws. The reference is
    /// valid as long as this object.
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
        Made* of_parent; ///< never freed here, but still referenced
    };

    const Make m_make;
    std::atomic<Made*> m_made{nullptr};
};

} // namespace kwlookup
