// SPDX-License-Identifier: MIT
#include "plugins/ldap/LibldapStart.h"

#include "families/servers/PerProcess.h"
#include "families/servers/ServerFault.h"
#include "families/servers/StartThread.h"

#include <condition_variable>
#include <ldap.h>
#include <memory>
#include <mutex>
#include <system_error>

namespace kwlookup {
namespace {

/// Shared by the thread and the searches that wait for it.
struct Start {
    std::mutex lock;
    std::condition_variable changed;
    bool is_running = false;
    bool is_done = false;
};

void StartLibldap(Start& start) {
    LDAP* ldap = nullptr;
    const bool done = ::ldap_create(&ldap) == LDAP_SUCCESS;
    if (done)
        ::ldap_destroy(ldap);
    const std::lock_guard<std::mutex> lock(start.lock);
    start.is_running = false; // without memory, the next search tries again
    start.is_done = done;
    start.changed.notify_all();
}

} // namespace

void AwaitLibldap(Deadline deadline) {
    static auto& per_process =
        *new PerProcess<Start>([] { return std::make_shared<Start>(); }); // never freed
    const std::shared_ptr<Start>& start = per_process.Get();
    std::unique_lock<std::mutex> lock(start->lock);
    if (start->is_done)
        return;
    if (!start->is_running) {
        try {
            StartThread([start] { StartLibldap(*start); });
        } catch (const std::system_error& error) {
            throw ServerFault(error.what());
        }
        start->is_running = true;
    }
    start->changed.wait_until(lock, deadline.GetTime(), [&] { return !start->is_running; });
    if (!start->is_done)
        throw ServerFault("libldap took too long to start");
}

} // namespace kwlookup
