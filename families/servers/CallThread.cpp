// SPDX-License-Identifier: MIT
#include "families/servers/CallThread.h"

#include "families/servers/PerProcess.h"
#include "families/servers/ServerFault.h"
#include "families/servers/StartThread.h"

#include <condition_variable>
#include <exception>
#include <mutex>
#include <system_error>
#include <utility>

namespace kwlookup {
namespace {

/// Each one costs a thread with its stack, and a connection that hangs.
constexpr int MOST_LEFT = 16;

/// Counts the abandoned threads.
class LeftBehind {
public:
    /// The count of this process. The threads of its parent do not run here.
    static std::shared_ptr<LeftBehind> Instance() {
        static auto& instance =
            *new PerProcess<LeftBehind>([] { return std::make_shared<LeftBehind>(); });
        return instance.Get();
    }

    void WaitUntilFew(Deadline deadline) {
        std::unique_lock<std::mutex> lock(m_lock);
        if (!m_ended.wait_until(lock, deadline.GetTime(), [this] { return m_threads < MOST_LEFT; }))
            throw ServerFault("too many calls do not end");
    }

    void Add() {
        const std::lock_guard<std::mutex> lock(m_lock);
        ++m_threads;
    }

    void Remove() {
        const std::lock_guard<std::mutex> lock(m_lock);
        --m_threads;
        m_ended.notify_one();
    }

private:
    std::mutex m_lock;
    std::condition_variable m_ended;
    int m_threads = 0;
};

} // namespace

/// The state that the thread and its owner share.
struct CallThread::State {
    void Run();

    const std::shared_ptr<LeftBehind> left_behind = LeftBehind::Instance();
    std::mutex lock;
    std::condition_variable call_changed;
    std::condition_variable done_changed;
    std::function<void()> call; ///< empty once it has begun
    bool is_done = false;
    std::exception_ptr error; ///< what the call threw
    std::shared_ptr<void> kept;
    bool has_owner = true;
};

void CallThread::State::Run() {
    std::unique_lock<std::mutex> guard(lock);
    for (;;) {
        call_changed.wait(guard, [this] { return call || !has_owner; });
        if (!call)
            break;
        std::function<void()> current = std::exchange(call, nullptr);
        guard.unlock();
        std::exception_ptr thrown;
        try {
            current();
        } catch (...) {
            thrown = std::current_exception();
        }
        current = nullptr; // destroyed in this thread, as promised
        guard.lock();
        error = std::move(thrown);
        is_done = true;
        done_changed.notify_one();
    }
    guard.unlock();
    kept.reset();
    left_behind->Remove();
}

CallThread::CallThread(Deadline deadline) : m_state(std::make_shared<State>()) {
    m_state->left_behind->WaitUntilFew(deadline);
    try {
        StartThread([state = m_state] { state->Run(); });
    } catch (const std::system_error& error) {
        throw ServerFault(error.what());
    }
}

CallThread::~CallThread() {
    m_state->left_behind->Add();
    const std::lock_guard<std::mutex> guard(m_state->lock);
    m_state->has_owner = false;
    m_state->call_changed.notify_one();
}

void CallThread::Do(Deadline deadline, std::function<void()> call) {
    State& state = *m_state;
    std::unique_lock<std::mutex> guard(state.lock);
    state.call = std::move(call);
    state.is_done = false;
    state.call_changed.notify_one();
    if (!state.done_changed.wait_until(guard, deadline.GetTime(),
                                       [&state] { return state.is_done; }))
        throw ServerFault("no answer in time");
    if (state.error)
        std::rethrow_exception(std::exchange(state.error, nullptr));
}

void CallThread::Keep(std::shared_ptr<void> value) {
    const std::lock_guard<std::mutex> guard(m_state->lock);
    m_state->kept = std::move(value);
}

} // namespace kwlookup
