// SPDX-License-Identifier: MIT
#pragma once

#include <stdexcept>

namespace kwlookup {

/// The server answered that it cannot answer this question, as for a table that is not there. No
/// other server is asked, and the connection can be used again. The text does not name the server;
/// ServerSet puts its name before it.
class QuestionFault : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

} // namespace kwlookup
