// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace kwlookup {

/// The system's text for an error number, from strerror_r, so that threads do not share a buffer.
std::string SystemErrorText(int error_number);

} // namespace kwlookup
