// SPDX-License-Identifier: MIT
#pragma once

#include "host/LogClass.h"

#include <chrono>
#include <memory>
#include <string>

namespace boost {
namespace asio {
class io_context;
}
} // namespace boost

namespace kwlookup {

class ListKeeper;
class Reloader;

/// The UNIX socket through which `kwlookupd ctl` gives commands to the daemon. Only its user may
/// connect.
///
/// A client sends one line: "reload [LIST] [--force]", "rollback LIST" or "status". It gets a line
/// "ok" or "error", and then text.
class Control {
public:
    /// Listens at `path`. Serves clients in `context`, and lets the reloader load lists. Keeps the
    /// references. Throws std::runtime_error "PATH: REASON", also when another daemon listens
    /// there.
    Control(boost::asio::io_context& context, const std::string& path, Reloader& reloader,
            ListKeeper& lists);
    /// Removes the socket's file.
    ~Control();
    Control(const Control&) = delete;
    Control& operator=(const Control&) = delete;

    /// Waits for clients again, after memory ran out in a handler of the context.
    void Wait();

private:
    class Client;
    struct State;

    std::unique_ptr<State> m_state;
};

/// Sends `command` to the daemon that listens at `path`, and prints its answer on standard output,
/// or an error on standard error. Waits for the daemon no longer than `limit`. Returns the exit
/// status.
int RunControlCommand(const std::string& path, const std::string& command,
                      std::chrono::milliseconds limit, const LogClass& log);

} // namespace kwlookup
