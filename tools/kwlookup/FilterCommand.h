// SPDX-License-Identifier: MIT
#pragma once

#include "host/LogClass.h"

#include <string>
#include <vector>

namespace kwlookup {

struct FilterOptions {
    std::vector<std::string> lists; ///< object lists
    /// What is looked for in each of the lists.
    std::vector<std::string> attributes = {"sender"};
    std::string sub_address; ///< the characters that begin an extension of a local part
    int answer_time_ms = 900;
};

/// `kwlookup filter opensmtpd`: answer the requests of smtpd, which has started this program, until
/// the input ends. Nothing else ends it, because smtpd ends with its filters. Each request is
/// answered within `answer_time_ms`: with a refusal for now if a list has not answered by then, or
/// is not loaded. A list is loaded again when its files have changed and rested for a second;
/// if that fails, the old one stays in use. A list that is missing is tried again every ten
/// seconds.
///
/// Does not return: searches that still wait are left behind.
[[noreturn]] void RunFilterCommand(const FilterOptions& options, const LogClass& log);

} // namespace kwlookup
