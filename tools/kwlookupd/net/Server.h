// SPDX-License-Identifier: MIT
#pragma once

#include "tools/kwlookupd/doors/Door.h"
#include "tools/kwlookupd/doors/DoorConfig.h"
#include "tools/kwlookupd/net/ServerSettings.h"

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace boost {
namespace asio {
class io_context;
}
} // namespace boost

namespace kwlookup {

class ListGeneration;
class Metrics;

/// Listens at the addresses of doors, and serves their clients. Threads: one, but for what says
/// otherwise.
class Server {
public:
    struct OpenDoor {
        DoorConfig config;
        std::unique_ptr<Door> door;
    };

    /// Counts in `metrics`, which may be null; it needs a thread for each of `io_threads`. Opens
    /// all sockets, becomes the user of the settings, and starts the workers. The settings of a
    /// door that are read here are addresses, `mode`, `owner` and `group` (see Listen()),
    /// `allowfrom`, `allowuser` and `allowgroup` (see AccessRules). Throws std::invalid_argument
    /// and std::runtime_error with the reason, which begins with "door NAME: ".
    Server(const ServerSettings& settings, std::vector<OpenDoor> doors, Metrics* metrics = nullptr);
    /// Closes all sockets, and removes the files of its UNIX sockets.
    ~Server();
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    /// Returns the context that the thread of Run() serves. It accepts connections there; others
    /// may use it for signals and timers, and must not block it.
    boost::asio::io_context& GetMainContext();

    /// Returns the addresses of a door, with their real ports.
    std::vector<std::string> GetAddresses(std::size_t door) const;

    /// Gives all threads a new list of this number; null takes it away. `done` is called after the
    /// last has taken it, in that thread or in the caller's. Keep the old list until then, so that
    /// no thread that serves clients has to free it. Threads: any.
    void SetList(std::size_t number, std::shared_ptr<const ListGeneration> list,
                 const std::function<void()>& done = {});

    /// Serves clients until Stop(). Tells systemd when it begins and ends, and feeds its watchdog.
    /// Calls `wait` at the beginning, and again whenever a handler in the main context throws
    /// because memory has run out: let it begin the waits of signals and timers anew.
    void Run(const std::function<void()>& wait = {});

    /// Ends Run(): answers what has arrived, for at most three seconds. Threads: any.
    void Stop();

private:
    struct State;

    std::unique_ptr<State> m_state;
};

} // namespace kwlookup
