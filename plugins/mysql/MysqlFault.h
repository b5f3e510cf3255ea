// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace kwlookup {

/// Throws what an error of the server or of MariaDB's connector means for a search: QuestionFault
/// when the server has answered and the connection can be used again, ServerFault when it has not,
/// or will not, and std::runtime_error for an answer that is too long.
///
/// Called while a MysqlWait is there, whose reason counts more than `reason`.
[[noreturn]] void FailMysql(unsigned code, const std::string& reason);

} // namespace kwlookup
