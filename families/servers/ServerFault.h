// SPDX-License-Identifier: MIT
#pragma once

#include <stdexcept>

namespace kwlookup {

/// A server failed: it is down, does not answer, violates the protocol or refuses the login. The
/// connection cannot be used again, but another server may answer. The message does not name the
/// server; ServerSet adds the name.
class ServerFault : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

} // namespace kwlookup
