// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstddef>
#include <string>

namespace kwlookup {

/// The limits of the daemon towards its clients.
struct ServerSettings {
    std::size_t io_threads = 1; ///< read requests, and answer those that need not wait
    std::size_t workers = 16;   ///< ask lists that may wait, and explain answers
    /// After this time, a question that waits is answered as unavailable, before clients give up.
    std::chrono::milliseconds answer_time{900};
    std::size_t max_connections = 10000; ///< of a door; more clients wait to be accepted
    std::size_t max_in_flight = 1000;    ///< of a connection; more requests are read later
    /// After this time without a request, a connection is closed. Zero: never, because some clients
    /// report a fault then.
    std::chrono::milliseconds idle_time{0};
    /// The time for a whole request, and to take a part of an answer: as long as Postfix
    /// would wait.
    std::chrono::milliseconds request_time = std::chrono::seconds(100);
    std::string user; ///< to become after all sockets are bound; empty: stay the same
};

} // namespace kwlookup
