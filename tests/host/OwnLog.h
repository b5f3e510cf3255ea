// SPDX-License-Identifier: MIT
#pragma once

#include "host/KwExport.h"

#include <string>
#include <vector>

/// What the host's own LogClass was given since the last call: "LEVEL NAME TEXT".
KW_EXPORT std::vector<std::string> OwnLogLines();
