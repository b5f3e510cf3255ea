// SPDX-License-Identifier: MIT
#pragma once

#include "host/KwStorageValuesMap.h"

#include <string>

namespace kwlookup {

/// Reads one JSON object, {"NAME":VALUE,...}, as a record. A value is a text or a number, which
/// counts as it is written. Returns what is wrong; "" when nothing is.
std::string ReadJsonRecord(const std::string& text, KwStorageValuesMap& record);

} // namespace kwlookup
