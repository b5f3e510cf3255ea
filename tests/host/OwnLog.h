// SPDX-License-Identifier: MIT
#pragma once

#include "host/KwExport.h"

#include <string>
#include <vector>

/// Returns the events that the host's own LogClass got since the last call, as "LEVEL NAME TEXT".
KW_EXPORT std::vector<std::string> OwnLogLines();
