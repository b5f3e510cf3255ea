// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace kwlookup {

/// Throw the exception for an error of the server or of MariaDB's connector: QuestionFault if the
/// server has answered and the connection can be used again, ServerFault if it has failed, and
/// std::runtime_error for an answer that is too long.
///
/// Call while a MysqlWait exists. Its reason takes precedence over `reason`.
[[noreturn]] void FailMysql(unsigned code, const std::string& reason);

} // namespace kwlookup
