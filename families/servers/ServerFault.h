// SPDX-License-Identifier: MIT
#pragma once

#include <stdexcept>

namespace kwlookup {

/// A server cannot be asked: it is away, silent, breaks the protocol or refuses the login. The
/// connection is of no more use, and another server may answer. The text does not name the server;
/// ServerSet puts its name before it.
class ServerFault : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

} // namespace kwlookup
