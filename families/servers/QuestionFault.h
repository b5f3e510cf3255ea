// SPDX-License-Identifier: MIT
#pragma once

#include <stdexcept>

namespace kwlookup {

/// The server rejected this question, for example because of a missing table. No other server is
/// asked, and the connection can be used again. The message does not name the server; ServerSet
/// adds the name.
class QuestionFault : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

} // namespace kwlookup
