// SPDX-License-Identifier: MIT
#pragma once

#include "host/KwStorageValuesMap.h"

#include <string>

namespace kwlookup {

/// Read a JSON object, {"NAME":VALUE,...}, as a record. A value is a text or a number; a number is
/// stored as it is written. Returns the error, or "". What `record` held is replaced; it costs the
/// least if that had the same names.
std::string ReadJsonRecord(const std::string& text, KwStorageValuesMap& record);

} // namespace kwlookup
