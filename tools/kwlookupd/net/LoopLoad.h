// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>

namespace kwlookup {

/// How busy a loop is: the share of the time in which it does not wait for its clients, in percent.
/// Threads: the loop calls what is not const; any thread may call the rest.
class LoopLoad {
public:
    using Time = std::chrono::steady_clock::time_point;

    /// The time after which a loop that cannot keep up gets help.
    static constexpr std::chrono::milliseconds SHORT{20};
    /// The time for which load must be low before it is worth moving connections.
    static constexpr std::chrono::milliseconds LONG{200};

    void BeginWait(Time now) {
        AddWork(now);
        m_turned.store(ToNumber(now), std::memory_order_relaxed);
    }
    void EndWait(Time now) {
        m_since = now;
        m_turned.store(-ToNumber(now), std::memory_order_relaxed);
    }

    /// Each returns true when such a time has passed since it last did, and sets what is below.
    bool EndShort(Time now) { return End(m_short, SHORT, now); }
    bool EndLong(Time now) { return End(m_long, LONG, now); }

    int GetBusyNow(Time now) const { return Get(m_short, SHORT, now); }
    int GetBusyForLong(Time now) const { return Get(m_long, LONG, now); }

private:
    struct Window {
        Time began = std::chrono::steady_clock::now();
        std::chrono::nanoseconds worked{0};
        std::atomic<int> busy{0}; ///< in the window before
    };

    static std::int64_t ToNumber(Time time) { return time.time_since_epoch().count(); }

    void AddWork(Time now) {
        m_short.worked += now - m_since;
        m_long.worked += now - m_since;
        m_since = now;
    }

    bool End(Window& window, std::chrono::nanoseconds size, Time now) {
        if (now - window.began < size)
            return false;
        AddWork(now);
        window.busy.store(static_cast<int>(100 * window.worked / (now - window.began)),
                          std::memory_order_relaxed);
        window.worked = {};
        window.began = now;
        return true;
    }

    int Get(const Window& window, std::chrono::nanoseconds size, Time now) const {
        const std::int64_t turned = m_turned.load(std::memory_order_relaxed);
        if (turned > 0 && ToNumber(now) - turned > size.count())
            return 0;
        if (turned < 0 && ToNumber(now) + turned > size.count())
            return 100;
        return window.busy.load(std::memory_order_relaxed);
    }

    Window m_short, m_long;
    Time m_since = m_long.began; ///< when it last began to work
    /// When it last began to wait or, negative, to work. The windows end only while it works.
    std::atomic<std::int64_t> m_turned{0};
};

} // namespace kwlookup
